// The kinds of fields: a setting's value as the program takes it, always text, and the controls that show it.
// A kind makes { node, get, set, wrong, focus } of a row and the loaded data; `wrong` tells what is wrong, or nothing.
import { setText } from './texts.js';
import { button, byteLength, createError, h, helpOf, iconButton, newId, switchInput } from './widgets.js';

const TOO_LONG = 'common.too_long';

const tooLong = (value, limit) =>
	byteLength(value) > limit ? [TOO_LONG, { used: byteLength(value), limit }] : undefined;

export function toggle(row, data, id) {
	const input = switchInput({ id });
	return {
		node: input,
		get: () => String(input.checked),
		set: (value) => (input.checked = value === 'true'),
		wrong: () => undefined,
		focus: () => input.focus(),
	};
}

// A whole number of at least `row.least`, with `row.unit` behind it.
export function number(row, data, id) {
	const input = h('input', { id, inputmode: 'numeric', autocomplete: 'off', class: 'short' });
	return {
		node: h('span.with-unit', {}, input, h('span.unit', { text: row.unit })),
		get: () => input.value.trim(),
		set: (value) => (input.value = value),
		wrong() {
			const value = this.get();
			if (!/^\d+$/.test(value) || Number(value) < row.least) return ['common.least', { least: row.least }];
			return tooLong(value, row.limit);
		},
		focus: () => input.focus(),
	};
}

// One of `row.options(data)`, each { value, name } or { value, text }. A stored value that is none of them is shown, as
// `row.strange` says, and kept; with `row.other` another one can be typed.
export function choice(row, data, id) {
	const options = row.options(data);
	const select = h('select', { id }, ...options.map(({ value, name, text }) => h('option', { value, text }, name)));
	const other = h('option', 'common.other');
	const typed = h('input', { label: 'common.other', autocomplete: 'off', spellcheck: 'false', hidden: true });
	const isTyped = () => select.selectedOptions[0] === other;
	if (row.other) {
		select.append(other);
		select.addEventListener('change', () => {
			typed.hidden = !isTyped();
			if (isTyped()) typed.focus();
		});
	}
	return {
		node: h('span.choice', {}, select, typed),
		get: () => (isTyped() ? typed.value : select.value),
		set(value) {
			if (![...select.options].some((option) => option !== other && option.value === value)) {
				const text = value === '' ? 'common.empty_value' : row.strange && [row.strange, { value }];
				select.prepend(h('option', { value, text }, text ? undefined : value));
			}
			typed.hidden = true;
			select.value = value;
		},
		wrong() {
			if (isTyped() && typed.value.trim() === '') return ['common.empty'];
			return tooLong(this.get(), row.limit);
		},
		focus: () => (isTyped() ? typed : select).focus(),
	};
}

// A list of entries that stands in one text: `row.columns` { label, pattern, wrong }, joined by '=' where there are
// two, `row.separator` between the entries, `row.standard` the list that the program takes when there is none.
export function list(row, data, id) {
	const entries = h('ul.entries');
	const used = h('span.used');
	const parse = (value) => (value === '' ? [] : value.split(row.separator)).map((entry) => {
		const cut = row.columns.length > 1 ? entry.indexOf('=') : -1;
		return cut < 0 ? [entry, ''] : [entry.slice(0, cut), entry.slice(cut + 1)];
	});
	const join = (values) => values.map((value) => value.slice(0, row.columns.length).join('=')).join(row.separator);
	const inputsOf = (entry) => [...entry.querySelectorAll('input')];
	const shown = () => join([...entries.children].map((entry) => inputsOf(entry).map((input) => input.value.trim())));
	let stored = '';
	let wrongInput;

	const tellUsed = () => setText(used, 'common.used', { used: byteLength(get()), limit: row.limit });
	const changed = () => entries.dispatchEvent(new Event('input', { bubbles: true }));
	// What can't be taken apart and put together again is kept as it is, until it is changed.
	const get = () => (shown() === join(parse(stored)) ? stored : shown());

	function add(values) {
		const entry = h('li', {},
			...row.columns.map(({ label }) => h('input', { label, placeholder: label, autocomplete: 'off', spellcheck: 'false',
				autocapitalize: 'off' })),
			iconButton('remove', 'common.remove', () => {
				((entry.nextElementSibling ?? entry.previousElementSibling)?.querySelector('input') ?? addButton).focus();
				entry.remove();
				changed();
			}));
		inputsOf(entry).forEach((input, index) => (input.value = values[index]));
		entries.append(entry);
		return entry;
	}
	function fill(value) {
		entries.replaceChildren();
		parse(value).forEach(add);
		tellUsed();
	}
	const addButton = button('common.add', () => {
		add(['', '']).querySelector('input').focus();
		changed();
	}, { kind: 'small', image: 'add' });
	const standardButton = button('common.use_standard', () => {
		fill(row.standard);
		changed();
	}, { kind: 'small quiet' });
	entries.addEventListener('input', tellUsed);

	return {
		node: h('div.list', { role: 'group', 'aria-labelledby': `${id}-label` }, entries,
			h('div.list-foot', {}, addButton, standardButton, used)),
		get,
		set(value) {
			stored = value;
			fill(value);
		},
		wrong() {
			wrongInput = undefined;
			for (const entry of entries.children) {
				const inputs = inputsOf(entry);
				const column = row.columns.findIndex(({ pattern }, index) => !pattern.test(inputs[index].value.trim()));
				if (column >= 0) {
					wrongInput = inputs[column];
					return [row.columns[column].wrong];
				}
			}
			return get() === '' ? ['common.empty'] : tooLong(get(), row.limit);
		},
		focus: () => (wrongInput ?? entries.querySelector('input') ?? addButton).focus(),
	};
}

// A row's field with its label, its help and what is wrong with it.
export function createField(row, data, section) {
	const text = `${section}.${row.field}`;
	const id = newId(row.field);
	const control = row.kind(row, data, id);
	const error = createError(`${id}-error`, () => node.querySelectorAll('input, select, button'));
	const reason = h('p.reason', { id: `${id}-reason`, hidden: true });
	const label = h('label', { id: `${id}-label`, for: id, text });
	const node = h('div', { class: `field ${row.kind === list ? 'wide' : ''}`, 'data-field': row.field },
		h('div.field-text', {}, label, helpOf(text, `${id}-help`), reason),
		h('div.field-control', {}, control.node), error.node);
	const field = {
		row,
		node,
		get: control.get,
		set(value) {
			control.set(value);
			error.show();
		},
		focus: control.focus,
		check: () => error.show(control.wrong()),
		// A field that can't be used says why.
		enable(enabled, why) {
			node.classList.toggle('off', !enabled);
			for (const one of node.querySelectorAll('.field-control :is(input, select, button)')) {
				one.disabled = !enabled;
				one.setAttribute('aria-describedby', `${id}-help ${id}-reason ${id}-error`);
			}
			reason.hidden = !why;
			if (Array.isArray(why)) setText(reason, ...why);
			else reason.textContent = why ?? '';
		},
	};
	// Not when the field is left: what is below would move away from under the pointer that is about to click it.
	node.addEventListener('input', () => {
		const wrong = control.wrong();
		if (!error.node.hidden || wrong?.[0] === TOO_LONG) error.show(wrong);
	});
	return field;
}
