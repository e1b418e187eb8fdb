// The form of a section that consists of settings: a table of rows becomes fields, their changes become one save.
//
// A section: { name, load, save, restartFailureNumber, rows, addToForm(frame, { fields, bar }) }
//   load, save             the program's actions
//   restartFailureNumber   what the program reports if everything is saved and the restart fails
//   addToForm              adds to the form what is not a setting; optional
//
// A row:
//   field            the name of the setting in the load and in the save; its label is the text SECTION.FIELD, its help
//                    the text SECTION.FIELD_help
//   kind             a function of fields.js or list_field.js, which describe the other members for this kind
//   group            the title of a new card, which begins with this field; its help is the text GROUP_help
//   limit            the byte limit of the value; a terminating zero byte is not included
//   defaultValue     the value that the program uses if none is stored
//   reload           true if a change makes the daemon reload its settings; any other change restarts it
//   failureNumbers   what the program reports if it can't save this setting
//   enabledBy        the program ignores this field unless that switch field is on
//   keepIfAbsent     true if the program keeps the stored value when the field is not sent; the page then sends it only
//                    if it is changed
//   checkUnchanged   true if the value is checked before each save, since the stored one may be invalid
//   shownIf          a member of the load; the field is left out unless it is true
//   usableIf         a member of the load; unless it is true the field is disabled and shows the text `unusableReason`
//
// Failure numbers (546, 599, ...) identify the failed step of a save to the page and to support. They never change.
import { unsupportedReason } from './appliance.js';
import { ANY_STATE, call } from './backend.js';
import { createField } from './form_field.js';
import { merge } from './merge.js';
import { saveMerged, savedText } from './merged_save.js';
import { createSaveBar } from './save_bar.js';
import { card, helpFor } from './widgets.js';

export function settingsSection(section) {
	return { ...section, open: (frame) => openForm(section, frame) };
}

function storedValues(section, data) {
	const loaded = section.rows.filter(({ field }) => data[field] !== undefined);
	return Object.fromEntries(loaded.map(({ field }) => [field, String(data[field])]));
}

function createFields(section, data) {
	const rows = section.rows.filter((row) => data[row.field] !== undefined && (!row.shownIf || data[row.shownIf]));
	return new Map(rows.map((row) => [row.field, createField(row, data, section.name)]));
}

// A card whose fields are all unsupported needs no help.
function createCards(fields) {
	const groups = [];
	for (const { row, node } of fields.values()) {
		if (row.group || groups.length === 0) groups.push({ title: row.group, nodes: [], isSupported: false });
		const group = groups.at(-1);
		group.nodes.push(node);
		group.isSupported ||= unsupportedReason(row.field) === undefined;
	}
	return groups.map(({ title, nodes, isSupported }) => {
		const help = title && isSupported ? helpFor(title) : undefined;
		return card(title, help, ...nodes);
	});
}

async function openForm(section, frame) {
	const load = () => call(section.load, {}, ANY_STATE);
	const { answer: { data }, tag } = await frame.load(load);
	const fields = createFields(section, data);
	let stored = storedValues(section, data);
	let storedTag = tag;

	const labelOf = ({ field }) => [`${section.name}.${field}`, {}];
	const valueOf = (field) => fields.get(field)?.get() ?? stored[field];
	const isEnabled = ({ enabledBy }) => !enabledBy || valueOf(enabledBy) === 'true';
	const isChanged = (row) => row.field in stored && isEnabled(row) && valueOf(row.field) !== stored[row.field];
	const changedRows = () => section.rows.filter(isChanged);
	const rowsThatRestart = () => changedRows().filter(({ reload }) => !reload);

	function enableFields() {
		for (const field of fields.values()) {
			const { row } = field;
			const isUsable = !row.usableIf || data[row.usableIf];
			const reason = unsupportedReason(row.field) ?? (isUsable ? undefined : row.unusableReason);
			field.enable(reason === undefined && isEnabled(row), reason);
		}
	}

	function showStored() {
		for (const [name, field] of fields) field.set(stored[name]);
		enableFields();
		bar.showMessage(undefined);
	}

	function findInvalidField() {
		const checked = [...fields.values()].filter(({ row }) => isChanged(row) || row.checkUnchanged);
		return [...fields.values()].find((field) => field.hasConflict()) ?? checked.find((field) => field.check());
	}

	function continueAfterChoice() {
		frame.body.dispatchEvent(new Event('input'));
		const next = [...fields.values()].find((field) => field.hasConflict());
		(next ?? bar).focus();
	}

	// Merges the user's changes into the settings that are stored now. Returns whether somebody else has changed any.
	function rebase(loaded) {
		const theirs = storedValues(section, loaded.answer.data);
		const mine = Object.fromEntries(section.rows.filter(({ field }) => field in stored)
			.map((row) => [row.field, isChanged(row) ? valueOf(row.field) : stored[row.field]]));
		// The program ignores a setting whose switch is off, so a change of the setting needs the switch.
		const switches = changedRows().flatMap(({ enabledBy }) => enabledBy ?? []);
		const { merged, conflicts, adopted } = merge(stored, mine, theirs, switches);
		stored = { ...stored, ...theirs };
		storedTag = loaded.tag;
		for (const name of adopted) fields.get(name)?.set(merged[name]);
		for (const name of conflicts) fields.get(name)?.askToChoose(theirs[name], continueAfterChoice);
		enableFields();
		return adopted.length > 0;
	}

	// A save that failed may have saved some settings. The changes are then those that differ from what is stored now.
	async function showSaveFailure(failure) {
		if (failure.kind === 'report') {
			const result = await load();
			if (result.ok) rebase(result);
		}
		const row = section.rows.find(({ failureNumbers }) => failureNumbers.includes(failure.failureNumber));
		if (row) {
			const texts = { report: ['errors.setting', 'errors.report_do'] };
			frame.showFailure('common.save_failed', { ...failure, setting: labelOf(row) }, texts);
			fields.get(row.field)?.focus();
		} else {
			const isRestart = failure.failureNumber === section.restartFailureNumber;
			const texts = isRestart ? { report: ['errors.restart', 'errors.restart_do'] } : {};
			frame.showFailure('common.save_failed', failure, texts);
		}
	}

	function valuesToSend() {
		const rows = section.rows.filter((row) =>
			row.field in stored && isEnabled(row) && (isChanged(row) || !row.keepIfAbsent));
		return Object.fromEntries(rows.map(({ field }) => [field, valueOf(field)]));
	}

	async function save() {
		let sent;
		let restarts;
		let showsMore = false;
		const result = await saveMerged({
			save() {
				restarts = rowsThatRestart().length > 0;
				sent = valuesToSend();
				return call(section.save, sent, storedTag);
			},
			load,
			rebase(loaded) {
				showsMore = rebase(loaded) || showsMore;
				return findInvalidField() === undefined;
			},
		});
		if (result.ok) {
			stored = { ...stored, ...sent };
			storedTag = result.tag;
			return savedText(restarts ? 'form.saved_restarted' : 'form.saved', showsMore && ['form.shows_more', {}]);
		}
		if (result.failure) return showSaveFailure(result.failure);
		findInvalidField().focus();
		return 'conflict.not_saved';
	}

	const bar = createSaveBar(frame, {
		isChanged: () => changedRows().length > 0,
		findInvalidField,
		progressText() {
			const settings = rowsThatRestart().map(labelOf);
			return settings.length > 0 ? ['form.restarting', { settings }] : 'form.saving';
		},
		save,
		discard: showStored,
	});
	frame.body.addEventListener('input', enableFields);
	showStored();
	frame.body.replaceChildren(...createCards(fields), bar.node);
	section.addToForm?.(frame, { fields, bar });
}
