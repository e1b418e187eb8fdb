// The section "Menu templates": an editor for the XML files that arrange the daemon's menus.
import { appliance } from './appliance.js';
import { call } from './backend.js';
import { ask, askToDiscard } from './dialogs.js';
import { createSaveBar } from './save_bar.js';
import { createTemplateEditor } from './template_editor.js';
import { setText } from './texts.js';
import { button, byteLength, card, createError, h, helpFor, nameOption, switchInput } from './widgets.js';
import { findXmlError } from './xml.js';

const NAME_LIMIT = 246; // bytes: a file name has at most 255, and the program adds "menu_" and ".xml"
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
	let stored = { name: '', text: '' };
	let xmlError;

	const isTextChanged = () => editor.get() !== stored.text;
	const mayReplaceText = async () => !isTextChanged() || askToDiscard();
	const checkName = () => nameError.show(findNameError(nameInput.value));

	function checkXml() {
		xmlError = findXmlError(editor.get());
		return editorError.show(xmlError && ['menu.not_well_formed', xmlError]);
	}

	// Puts a text into the editor. It is the stored one, or one that can be saved.
	function show(text, statusText, isStored) {
		editor.set(text);
		if (isStored) stored = { name: nameInput.value, text: editor.get() };
		editorError.show(undefined);
		setText(status, statusText);
		editor.area.dispatchEvent(new Event('input', { bubbles: true }));
	}

	function showBytes(bytes, statusText, isStored) {
		const text = decode(bytes);
		if (text === undefined) {
			const texts = { encoding: ['menu.not_utf8', 'menu.not_utf8_do'] };
			frame.showFailure('common.failed', { kind: 'encoding' }, texts);
		} else {
			show(text, statusText, isStored);
		}
	}

	// Loading a template that does not exist begins a new one.
	async function load() {
		if (checkName()) return nameInput.focus();
		if (!(await mayReplaceText())) return undefined;
		return bar.runTask('common.loading', async () => {
			const name = nameInput.value;
			const result = await call('loadmenu', { template: name });
			if (result.ok) showBytes(result.bytes, ['menu.loaded', { name }], true);
			else if (result.failure.kind === 'plain') show('', ['menu.new', { name }], true);
			else frame.showFailure('common.failed', result.failure);
		});
	}

	async function openFile() {
		const [file] = fileInput.files;
		if (file && (await mayReplaceText())) {
			showBytes(await file.arrayBuffer(), ['menu.from_file', { file: file.name }], false);
		}
		fileInput.value = ''; // so that the same file can be chosen again
	}

	function saveToFile() {
		const link = h('a', { download: `menu_${nameInput.value}.xml` });
		link.href = URL.createObjectURL(new Blob([editor.get()], { type: 'application/xml' }));
		link.click();
		setTimeout(() => URL.revokeObjectURL(link.href), OBJECT_URL_LIFETIME);
	}

	async function isStoredAs(template, content) {
		const result = await call('loadmenu', { template });
		return result.ok && decode(result.bytes) === content;
	}

	// Asks if the user has entered the name of another template that exists.
	async function mayOverwrite(template) {
		if (template === stored.name) return true;
		const result = await call('loadmenu', { template });
		return !result.ok || ask({ title: ['menu.overwrite', { name: template }], confirm: 'common.replace' });
	}

	// The program does not report whether the template was saved and only the restart failed, so the page checks that.
	async function save() {
		const [template, content, restarts] = [nameInput.value, editor.get(), restartSwitch.checked];
		if (!(await mayOverwrite(template))) return undefined;
		const result = await call('savemenu', { template, content, restartserver: String(restarts) });
		const mayBeSaved = result.ok || (restarts && result.failure.kind === 'plain');
		const isSaved = result.ok || (mayBeSaved && (await isStoredAs(template, content)));
		if (isSaved) {
			stored = { name: template, text: content };
			setText(status, ['menu.loaded', { name: template }]);
		}
		if (result.ok) return restarts ? 'form.saved_restarted' : 'form.saved';
		const texts = isSaved ? { plain: ['menu.not_restarted', 'errors.restart_do'] } : {};
		frame.showFailure('common.save_failed', result.failure, texts);
		return isSaved ? 'form.saved' : undefined;
	}

	const bar = createSaveBar(frame, {
		isChanged: () => isTextChanged() || nameInput.value !== stored.name,
		findInvalidField() {
			if (checkName()) return nameInput;
			return checkXml() && { focus: () => editor.moveCursorTo(xmlError) };
		},
		progressText() {
			const settings = [['menu.template', {}]];
			return restartSwitch.checked ? ['form.restarting', { settings }] : 'form.saving';
		},
		save,
		discard() {
			nameInput.value = stored.name;
			show(stored.text, ['menu.loaded', { name: stored.name }], true);
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
			helpFor('menu.text', `${editor.area.id}-help`), restartRow),
		bar.node);
	[nameInput.value = ''] = appliance.menuStyles;
	if (nameInput.value) await load();
}

export const menu = { name: 'menu', open };
