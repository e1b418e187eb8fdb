// The kind of field for a list of entries, which the program stores in one string.
import { tooLong } from './fields.js';
import { setText } from './texts.js';
import { button, byteLength, h, iconButton } from './widgets.js';

// `row.columns` are the parts of an entry: { label, pattern, error }, where `error` is the text for a part that does
// not match the pattern. Two parts are joined by "=", entries by `row.separator`. The user can replace the list by
// `row.defaultValue`.
export function list(row, data, id) {
	const entries = h('ul.entries');
	const usedBytes = h('span.used');
	const addButton = button('common.add', addEmptyEntry, { kind: 'small', image: 'add' });
	const defaultButton = button('common.use_default', useDefault, { kind: 'small quiet' });
	let stored = '';
	let invalidInput;

	function splitEntry(entry) {
		const cut = row.columns.length > 1 ? entry.indexOf('=') : -1;
		return cut < 0 ? [entry, ''] : [entry.slice(0, cut), entry.slice(cut + 1)];
	}

	const split = (value) => (value === '' ? [] : value.split(row.separator).map(splitEntry));
	const joinEntry = (parts) => parts.slice(0, row.columns.length).join('=');
	const join = (entriesAsParts) => entriesAsParts.map(joinEntry).join(row.separator);
	const inputsOf = (entry) => [...entry.querySelectorAll('input')];
	const partsOf = (entry) => inputsOf(entry).map((input) => input.value.trim());
	const shownValue = () => join([...entries.children].map(partsOf));

	// A stored value that the page would write differently stays as it is until the user changes an entry.
	const get = () => (shownValue() === join(split(stored)) ? stored : shownValue());

	const showUsedBytes = () => setText(usedBytes, ['common.used', { used: byteLength(get()), limit: row.limit }]);
	const reportInput = () => entries.dispatchEvent(new Event('input', { bubbles: true }));

	function removeEntry(entry) {
		const neighbour = entry.nextElementSibling ?? entry.previousElementSibling;
		(neighbour?.querySelector('input') ?? addButton).focus();
		entry.remove();
		reportInput();
	}

	function addEntry(parts) {
		const inputs = row.columns.map(({ label }, index) => {
			const input = h('input', {
				label,
				placeholder: label,
				autocomplete: 'off',
				spellcheck: 'false',
				autocapitalize: 'off',
			});
			input.value = parts[index];
			return input;
		});
		const entry = h('li', {}, ...inputs, iconButton('remove', 'common.remove', () => removeEntry(entry)));
		entries.append(entry);
		return entry;
	}

	function addEmptyEntry() {
		addEntry(['', '']).querySelector('input').focus();
		reportInput();
	}

	function show(value) {
		entries.replaceChildren();
		split(value).forEach(addEntry);
		showUsedBytes();
	}

	function useDefault() {
		show(row.defaultValue);
		reportInput();
	}

	entries.addEventListener('input', showUsedBytes);
	return {
		node: h('div.list', { role: 'group', 'aria-labelledby': `${id}-label` },
			entries,
			h('div.list-foot', {}, addButton, defaultButton, usedBytes)),
		isWide: true,
		get,
		set(value) {
			stored = value;
			show(value);
		},
		describe: (value) =>
			(value === '' ? ['common.empty_value', {}] : value.replaceAll(row.separator, `${row.separator} `)),
		findError() {
			invalidInput = undefined;
			for (const entry of entries.children) {
				const parts = partsOf(entry);
				const invalid = row.columns.findIndex(({ pattern }, index) => !pattern.test(parts[index]));
				if (invalid >= 0) {
					invalidInput = inputsOf(entry)[invalid];
					return row.columns[invalid].error;
				}
			}
			return get() === '' ? 'common.empty' : tooLong(get(), row.limit);
		},
		focus: () => (invalidInput ?? entries.querySelector('input') ?? addButton).focus(),
	};
}
