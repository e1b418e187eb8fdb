// The one routine behind the settings sections: a table of rows becomes a form, its changes a save.
// A section: { name, load, save, restartLine, rows, after(frame, form) }. A row:
//   field     the member of the load and the field of the save; its name is the text `section.field`, what it means
//             `section.field_help`
//   kind      of fields.js, and what that kind wants
//   group     the heading of a new card
//   limit     its bytes
//   reload    true where a change needs no restart of the daemon
//   lines     where a save failed at it
//   under     the switch without which the program doesn't look at it
//   keep      true where the program leaves it as it is when it isn't sent
//   shown, usable   members of the load without which there is no field, or one out of use; `why` says why
import { unsupportedReason } from './appliance.js';
import { call } from './backend.js';
import { createField } from './fields.js';
import { createSaveBar } from './frame.js';
import { card } from './widgets.js';

export function settingsSection(page) {
	return { ...page, open: (frame) => openForm(page, frame) };
}

const storedValues = (page, data) =>
	Object.fromEntries(page.rows.filter(({ field }) => data[field] !== undefined).map(({ field }) => [field, String(data[field])]));

function createFields(page, data) {
	const rows = page.rows.filter((row) => data[row.field] !== undefined && (!row.shown || data[row.shown]));
	return new Map(rows.map((row) => [row.field, createField(row, data, page.name)]));
}

function cards(fields) {
	const groups = [];
	for (const { row, node } of fields.values()) {
		if (row.group || groups.length === 0) groups.push({ title: row.group, nodes: [] });
		groups.at(-1).nodes.push(node);
	}
	return groups.map(({ title, nodes }) => card(title, ...nodes));
}

async function openForm(page, frame) {
	const { data } = await frame.load(() => call(page.load));
	const fields = createFields(page, data);
	let stored = storedValues(page, data);

	const valueOf = (name) => fields.get(name)?.get() ?? stored[name];
	const isLookedAt = ({ under }) => !under || valueOf(under) === 'true';
	const isChanged = (row) => row.field in stored && isLookedAt(row) && valueOf(row.field) !== stored[row.field];
	const changedRows = () => page.rows.filter(isChanged);

	function enableFields() {
		for (const field of fields.values()) {
			const { row } = field;
			const unsupported = unsupportedReason(row.field);
			const usable = !row.usable || data[row.usable];
			field.enable(unsupported === undefined && usable && isLookedAt(row), unsupported ?? (usable ? undefined : [row.why]));
		}
	}

	function showStored() {
		for (const [name, field] of fields) field.set(stored[name]);
		enableFields();
		bar.say(undefined);
	}

	// After a failure some of it may be stored: what differs now is what is still to be saved.
	async function failed(failure) {
		const row = page.rows.find(({ lines }) => lines?.includes(failure.line));
		const own = {};
		if (row) own.report = ['errors.setting', 'errors.report_do'];
		if (failure.line === page.restartLine) own.report = ['errors.restart', 'errors.restart_do'];
		if (failure.kind === 'report') {
			const now = await call(page.load);
			if (now.ok) stored = storedValues(page, now.answer.data);
		}
		frame.fail('common.save_failed', { ...failure, setting: row && [`${page.name}.${row.field}`, {}] }, own);
		if (row) fields.get(row.field)?.focus();
	}

	async function save() {
		const rows = page.rows.filter((row) => row.field in stored && isLookedAt(row) && (isChanged(row) || !row.keep));
		const restarts = changedRows().some(({ reload }) => !reload);
		const sent = Object.fromEntries(rows.map(({ field }) => [field, valueOf(field)]));
		const result = await call(page.save, sent);
		if (!result.ok) return failed(result.failure);
		stored = { ...stored, ...sent };
		return restarts ? 'form.saved_restarted' : 'form.saved';
	}

	const bar = createSaveBar(frame, {
		changed: () => changedRows().length > 0,
		wrong: () => [...fields.values()].filter(({ row }) => isChanged(row) || row.judgeAlways).find((field) => field.check()),
		progress() {
			const settings = changedRows().filter(({ reload }) => !reload).map(({ field }) => [`${page.name}.${field}`, {}]);
			return settings.length > 0 ? ['form.restarting', { settings }] : 'form.saving';
		},
		save,
		discard: showStored,
	});
	frame.body.addEventListener('input', enableFields);
	showStored();
	frame.body.replaceChildren(...cards(fields), bar.node);
	page.after?.(frame, { fields, bar });
}
