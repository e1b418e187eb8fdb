// A setting in a form: its control with the label, the help, the reason why it can't be used, the error, and the choice
// between two values.
import { bothValues, createConflict } from './conflict.js';
import { setText } from './texts.js';
import { createError, h, helpFor, newId } from './widgets.js';

export function createField(row, data, sectionName) {
	const label = `${sectionName}.${row.field}`;
	const id = newId(row.field);
	const control = row.kind(row, data, id);
	const help = helpFor(label, `${id}-help`);
	const reason = h('p.reason', { id: `${id}-reason`, hidden: true });
	const error = createError(`${id}-error`, () => node.querySelectorAll('input, select, button'));
	const node = h('div.field', { 'data-field': row.field },
		h('div', {}, h('label', { id: `${id}-label`, for: id, text: label }), help, reason),
		h('div.field-control', {}, control.node),
		error.node);
	node.classList.toggle('wide', control.isWide === true);
	let conflict; // while the user has to choose between the own value and the stored one

	// If there is a reason why the field can't be used, the reason replaces the help.
	function enable(enabled, reasonText) {
		node.classList.toggle('off', !enabled);
		for (const input of node.querySelectorAll('.field-control :is(input, select, button)')) {
			input.disabled = !enabled;
			input.setAttribute('aria-describedby', `${id}-${reasonText ? 'reason' : 'help'} ${id}-error`);
		}
		reason.hidden = !reasonText;
		setText(reason, reasonText);
		if (help) help.hidden = Boolean(reasonText);
	}

	function endConflict() {
		conflict?.node.remove();
		conflict = undefined;
	}

	function set(value) {
		endConflict();
		control.set(value);
		error.show(undefined);
	}

	// Shows somebody else's value beside the user's. `onChoice` is called after the user has chosen one.
	function askToChoose(theirs, onChoice) {
		endConflict();
		if (control.get() === theirs) return;
		conflict = createConflict({
			label: [label, {}],
			text: bothValues(control.describe(theirs), control.describe(control.get())),
			choose(keepsMine) {
				if (keepsMine) endConflict();
				else set(theirs);
				onChoice();
			},
		});
		conflict.update = () => askToChoose(theirs, onChoice);
		node.append(conflict.node);
	}

	// While the user types, only an error that is already visible is updated, and a value that is too long is reported.
	// Other errors appear on saving: an error that appears when the field loses the focus would move the button that
	// the user is about to click.
	node.addEventListener('input', () => {
		const text = control.findError();
		const isTooLong = text?.[0] === 'common.too_long';
		if (!error.node.hidden || isTooLong) error.show(text);
		conflict?.update();
	});

	return {
		row,
		node,
		enable,
		get: control.get,
		set,
		askToChoose,
		focus: () => (conflict ?? control).focus(),
		hasConflict: () => conflict !== undefined,
		check: () => error.show(control.findError()),
	};
}
