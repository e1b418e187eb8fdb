// The section "Menu templates": an editor for the XML files that arrange the daemon's menus.
import { appliance } from './appliance.js';
import { ANY_STATE, call } from './backend.js';
import { createConflict } from './conflict.js';
import { ask, askToDiscard } from './dialogs.js';
import { merge } from './merge.js';
import { saveMerged } from './merged_save.js';
import { createSaveBar } from './save_bar.js';
import { createTemplateEditor } from './template_editor.js';
import { setText } from './texts.js';
import { button, byteLength, card, createError, h, helpFor, nameOption, switchInput } from './widgets.js';
import { findXmlError } from './xml.js';

const NAME_LIMIT = 246; // bytes: a file name has at most 255, and the program adds "menu_" and ".xml"
const UNKNOWN_STATE = { ok: false, failure: { kind: 'changed' } }; // has to be loaded before a save replaces it
const OBJECT_URL_LIFETIME = 60000; // milliseconds; the browser doesn't report when it has saved the file

// Returns the text of a file, with its byte order mark, or undefined if the file is not UTF-8.
function decode(bytes) {
	try {
		return new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
	} catch {
		return undefined;
	}
}

function findNameError(name) {
	const used = byteLength(name);
	if (name === '') return 'common.empty';
	if (/[/\p{Cc}]/u.test(name)) return 'menu.invalid_name';
	if (used > NAME_LIMIT) return ['common.too_long', { used, limit: NAME_LIMIT }];
	return undefined;
}

// Loads a template. A template that does not exist has neither bytes nor a tag.
async function loadTemplate(template) {
	const result = await call('loadmenu', { template }, ANY_STATE);
	return result.failure?.kind === 'plain' ? { ok: true } : result;
}

function createInputs() {
	const names = h('datalist', { id: 'menu-names' },
		...appliance.menuStyles.map((name) => nameOption('menu_styles', name)));
	const nameInput = h('input', {
		id: 'menu-name',
		list: names.id,
		autocomplete: 'off',
		spellcheck: 'false',
		'aria-describedby': 'menu-name-error',
	});
	const fileInput = h('input', {
		type: 'file',
		accept: '.xml,text/xml,application/xml',
		hidden: true,
		label: 'menu.open_file',
	});
	return { names, nameInput, fileInput, restartSwitch: switchInput({ id: 'menu-restart' }) };
}

async function open(frame) {
	const { names, nameInput, fileInput, restartSwitch } = createInputs();
	const nameError = createError('menu-name-error', () => [nameInput]);
	const editor = createTemplateEditor('menu-text');
	const editorError = createError('menu-text-error', () => [editor.area]);
	const status = h('p.help', { role: 'status' }); // where the text in the editor comes from
	const conflictArea = h('div');
	let stored = { name: '', text: '' }; // with the tag of a template that exists
	let conflict; // while the user has to choose between the own text and the stored one
	let xmlError;

	const isTextChanged = () => editor.get() !== stored.text;
	const mayReplaceText = async () => !isTextChanged() || askToDiscard();
	const checkName = () => nameError.show(findNameError(nameInput.value));

	function checkXml() {
		xmlError = findXmlError(editor.get());
		return editorError.show(xmlError && ['menu.not_well_formed', xmlError]);
	}

	function endConflict() {
		conflict = undefined;
		conflictArea.replaceChildren();
	}

	// Puts a text into the editor: that of the stored template `{ name, tag }`, or one that can be saved.
	function show(text, statusText, template) {
		editor.set(text);
		if (template) {
			stored = { ...template, text: editor.get() };
			endConflict();
		}
		editorError.show(undefined);
		setText(status, statusText);
		editor.area.dispatchEvent(new Event('input', { bubbles: true }));
	}

	function decodeOrReport(bytes) {
		const text = decode(bytes);
		if (text === undefined) {
			const texts = { encoding: ['menu.not_utf8', 'menu.not_utf8_do'] };
			frame.showFailure('common.failed', { kind: 'encoding' }, texts);
		}
		return text;
	}

	// Loading a template that does not exist begins a new one.
	async function load() {
		if (checkName()) return nameInput.focus();
		if (!(await mayReplaceText())) return undefined;
		return bar.runTask('common.loading', async () => {
			const name = nameInput.value;
			const { ok, failure, bytes, tag } = await loadTemplate(name);
			if (!ok) return frame.showFailure('common.failed', failure);
			const text = bytes ? decodeOrReport(bytes) : '';
			if (text !== undefined) show(text, [bytes ? 'menu.loaded' : 'menu.new', { name }], { name, tag });
			return undefined;
		});
	}

	async function openFile() {
		const [file] = fileInput.files;
		if (file && (await mayReplaceText())) {
			const text = decodeOrReport(await file.arrayBuffer());
			if (text !== undefined) show(text, ['menu.from_file', { file: file.name }]);
		}
		fileInput.value = ''; // so that the same file can be chosen again
	}

	function saveToFile() {
		const link = h('a', { download: `menu_${nameInput.value}.xml` });
		link.href = URL.createObjectURL(new Blob([editor.get()], { type: 'application/xml' }));
		link.click();
		setTimeout(() => URL.revokeObjectURL(link.href), OBJECT_URL_LIFETIME);
	}

	// Shows somebody else's text of this template below the question which of the two to keep.
	function askToChoose(name, theirs) {
		const theirArea = h('textarea.code', { readonly: true, rows: '10', wrap: 'off', label: 'menu.their_text' });
		theirArea.value = theirs;
		conflict = createConflict({
			label: ['menu.text', {}],
			text: ['menu.conflict', { name }],
			choose(keepsMine) {
				endConflict();
				if (keepsMine) editor.area.dispatchEvent(new Event('input', { bubbles: true }));
				else show(stored.text, ['menu.loaded', { name }], stored);
				bar.focus();
			},
		}, h('details', { open: true }, h('summary', 'menu.their_text'), theirArea));
		conflictArea.replaceChildren(conflict.node);
	}

	// Returns whether the user's text may replace the template as it is stored now. Asks if it is another template than
	// the one in the editor. If somebody else has changed this template, the user has to choose a text first.
	async function mayReplace({ name, content }, { bytes, tag }) {
		const theirs = bytes && decode(bytes);
		if (name !== stored.name || (bytes && theirs === undefined)) {
			return !bytes || ask({ title: ['menu.overwrite', { name }], confirm: 'common.replace' });
		}
		const base = stored.text;
		stored = { name, text: theirs ?? '', tag };
		const { conflicts } = merge({ text: base }, { text: content }, { text: stored.text });
		if (bytes && conflicts.length > 0) askToChoose(name, theirs);
		return conflict === undefined;
	}

	async function save() {
		const [name, content, restarts] = [nameInput.value, editor.get(), restartSwitch.checked];
		const fields = { template: name, content, restartserver: String(restarts) };
		const loadAgain = () => loadTemplate(name);
		let condition = name === stored.name ? stored.tag : undefined;
		const result = await saveMerged({
			save: () => (condition ? call('savemenu', fields, condition) : UNKNOWN_STATE),
			load: loadAgain,
			rebase(loaded) {
				condition = loaded.tag ?? ANY_STATE;
				return mayReplace({ name, content }, loaded);
			},
		});
		// The program does not report whether the template is saved and only the restart failed, so the page checks it.
		const check = restarts && result.failure?.kind === 'plain' ? await loadAgain() : undefined;
		const isOnlyRestartMissing = check?.bytes !== undefined && decode(check.bytes) === content;
		if (result.ok || isOnlyRestartMissing) {
			stored = { name, text: content, tag: (check ?? result).tag };
			endConflict();
			setText(status, ['menu.loaded', { name }]);
		}
		if (result.ok) return restarts ? 'form.saved_restarted' : 'form.saved';
		if (result.failure) {
			const texts = isOnlyRestartMissing ? { plain: ['menu.not_restarted', 'errors.restart_do'] } : {};
			frame.showFailure('common.save_failed', result.failure, texts);
			return isOnlyRestartMissing ? 'form.saved' : undefined;
		}
		conflict?.focus();
		return conflict && 'conflict.not_saved';
	}

	const bar = createSaveBar(frame, {
		isChanged: () => isTextChanged() || nameInput.value !== stored.name,
		findInvalidField() {
			if (checkName()) return nameInput;
			if (conflict && nameInput.value === stored.name) return conflict;
			return checkXml() && { focus: () => editor.moveCursorTo(xmlError) };
		},
		progressText() {
			const settings = [['menu.template', {}]];
			return restartSwitch.checked ? ['form.restarting', { settings }] : 'form.saving';
		},
		save,
		discard() {
			nameInput.value = stored.name;
			show(stored.text, ['menu.loaded', { name: stored.name }], stored);
		},
	});
	frame.isChanged = isTextChanged; // another name alone is no loss

	nameInput.addEventListener('keydown', (event) => event.key === 'Enter' && load());
	nameInput.addEventListener('input', () => nameError.node.hidden || checkName());
	editor.area.addEventListener('input', () => editorError.node.hidden || checkXml());
	fileInput.addEventListener('change', openFile);

	const nameRow = h('div.template-name', {},
		h('label', { for: nameInput.id, text: 'menu.template' }), nameInput, names, button('common.load', load));
	const editorHead = h('div.editor-head', {},
		h('label', { for: editor.area.id, text: 'menu.text' }), status,
		button('menu.open_file', () => fileInput.click(), { kind: 'small' }), fileInput,
		button('menu.save_file', saveToFile, { kind: 'small' }));
	const restartRow = h('div.field', {},
		h('div', {}, h('label', { for: restartSwitch.id, text: 'menu.restart' }), helpFor('menu.restart')),
		restartSwitch);
	frame.body.replaceChildren(
		card(undefined, nameRow, nameError.node, editorHead, editorError.node, editor.area,
			helpFor('menu.text', `${editor.area.id}-help`), conflictArea, restartRow),
		bar.node);
	[nameInput.value = ''] = appliance.menuStyles;
	if (nameInput.value) await load();
}

export const menu = { name: 'menu', open };
