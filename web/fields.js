// Kinds of fields. A kind is a function of a row (settings_form.js), the loaded data and an id; it returns a control:
//   node        the element with the inputs; the one with the id is labelled
//   get, set    the value as the program stores it, always a string
//   describe    returns how the page shows a value, as a value of a text (texts.js)
//   findError   returns what is wrong with the value, as a text, or undefined
//   focus       moves the focus to the input, or to the one that is wrong
//   isWide      true if the control needs the width of the card
import { byteLength, h, switchInput } from './widgets.js';

// Returns a text if the value has more bytes than the limit allows, otherwise undefined.
export function tooLong(value, limit) {
	const used = byteLength(value);
	return used > limit ? ['common.too_long', { used, limit }] : undefined;
}

export function toggle(row, data, id) {
	const input = switchInput({ id });
	return {
		node: input,
		get: () => String(input.checked),
		set: (value) => (input.checked = value === 'true'),
		describe: (value) => [value === 'true' ? 'common.on' : 'common.off', {}],
		findError: () => undefined,
		focus: () => input.focus(),
	};
}

// A whole number of at least `row.min`, followed by the text `row.unit`.
export function number(row, data, id) {
	const input = h('input.short', { id, inputmode: 'numeric', autocomplete: 'off' });
	// The program returns a number without leading zeros.
	const get = () => input.value.trim().replace(/^0+(?=\d)/, '');
	return {
		node: h('span.with-unit', {}, input, h('span.unit', row.unit)),
		get,
		set: (value) => (input.value = value),
		describe: (value) => value,
		findError() {
			if (!/^\d+$/.test(get()) || Number(get()) < row.min) return ['common.min', { min: row.min }];
			return tooLong(get(), row.limit);
		},
		focus: () => input.focus(),
	};
}

// One of the <option>s that `row.options(data)` returns. A stored value that is none of them gets an additional option,
// `row.unlistedOption(value)` if the row has that function. With `row.allowsOther` the user can type another value.
export function choice(row, data, id) {
	const select = h('select', { id }, ...row.options(data));
	const otherOption = h('option', 'common.other');
	const otherInput = h('input', { label: 'common.other', autocomplete: 'off', spellcheck: 'false', hidden: true });
	const isOther = () => select.selectedOptions[0] === otherOption;
	const get = () => (isOther() ? otherInput.value : select.value);
	const listedOption = (value) =>
		[...select.options].find((option) => option !== otherOption && option.value === value);

	function createUnlistedOption(value) {
		if (value === '') return h('option', { value, text: 'common.empty_value' });
		return row.unlistedOption?.(value) ?? h('option', { value }, value);
	}

	if (row.allowsOther) {
		select.append(otherOption);
		select.addEventListener('change', () => {
			otherInput.hidden = !isOther();
			if (isOther()) otherInput.focus();
		});
	}
	return {
		node: h('span.choice', {}, select, otherInput),
		get,
		set(value) {
			if (!listedOption(value)) select.prepend(createUnlistedOption(value));
			otherInput.hidden = true;
			select.value = value;
		},
		describe: (value) => () => (listedOption(value) ?? createUnlistedOption(value)).textContent,
		findError() {
			if (isOther() && otherInput.value.trim() === '') return 'common.empty';
			return tooLong(get(), row.limit);
		},
		focus: () => (isOther() ? otherInput : select).focus(),
	};
}
