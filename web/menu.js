// The templates that arrange the daemon's menus, as the XML that they are.
import { appliance } from './appliance.js';
import { call } from './backend.js';
import { createSaveBar } from './frame.js';
import { setText } from './texts.js';
import { ask, askToDiscard, button, byteLength, card, createError, h, switchInput } from './widgets.js';
import { xmlError } from './xml.js';

const NAME_LIMIT = 246; // bytes: a file's name has 255, of which the program takes menu_ and .xml

// The text of a file, or nothing when it is no UTF-8. A byte order mark stays.
function decoded(bytes) {
	try {
		return new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
	} catch {
		return undefined;
	}
}

function wrongName(name) {
	if (name === '') return ['common.empty'];
	if (/[/\p{Cc}]/u.test(name)) return ['menu.wrong_name'];
	if (byteLength(name) > NAME_LIMIT) return ['common.too_long', { used: byteLength(name), limit: NAME_LIMIT }];
	return undefined;
}

// A text area that takes the tab key until Escape is pressed. Line ends stay as they were.
function createEditor(id) {
	const area = h('textarea', { id, class: 'code', rows: '20', spellcheck: 'false', autocapitalize: 'off', wrap: 'off',
		'aria-describedby': `${id}-help ${id}-error` });
	let tabs = true;
	let lineEnd = '\n';
	area.addEventListener('keydown', (event) => {
		if (event.key === 'Escape') tabs = false;
		if (event.key !== 'Tab' || event.shiftKey || !tabs) return;
		event.preventDefault();
		document.execCommand('insertText', false, '\t'); // the one way that the browser can undo
	});
	area.addEventListener('blur', () => (tabs = true));
	return {
		area,
		get: () => area.value.replaceAll('\n', lineEnd),
		set(text) {
			lineEnd = text.includes('\r\n') ? '\r\n' : '\n';
			area.value = text;
			area.setSelectionRange(0, 0);
		},
		goTo({ line, column }) {
			const before = area.value.split('\n').slice(0, line - 1).reduce((sum, one) => sum + one.length + 1, 0);
			const at = Math.min(before + column - 1, area.value.length);
			area.focus();
			area.setSelectionRange(at, at);
		},
	};
}

async function open(frame) {
	const choices = h('datalist', { id: 'menu-names' }, ...appliance.menuStyles.map((value) => h('option', { value })));
	const name = h('input', { id: 'menu-name', list: choices.id, autocomplete: 'off', spellcheck: 'false',
		'aria-describedby': 'menu-name-error' });
	const nameError = createError('menu-name-error', () => [name]);
	const editor = createEditor('menu-text');
	const textError = createError('menu-text-error', () => [editor.area]);
	const state = h('p.help', { role: 'status' });
	const restart = switchInput({ id: 'menu-restart' });
	const file = h('input', { type: 'file', accept: '.xml,text/xml,application/xml', hidden: true, label: 'menu.open_file' });
	let stored = { name: '', text: '' };
	let failedPlace;

	const textChanged = () => editor.get() !== stored.text;
	const mayReplace = async () => !textChanged() || askToDiscard();

	const nameIsWrong = () => nameError.show(wrongName(name.value));

	function textIsWrong() {
		failedPlace = xmlError(editor.get());
		return textError.show(failedPlace && ['menu.not_well_formed', failedPlace]);
	}

	// Another text in the editor: a stored one, or one to be saved.
	function show(text, told, isStored) {
		editor.set(text);
		if (isStored) stored = { name: name.value, text: editor.get() };
		textError.show();
		setText(state, ...told);
		editor.area.dispatchEvent(new Event('input', { bubbles: true }));
	}

	function showBytes(bytes, ...more) {
		const text = decoded(bytes);
		if (text === undefined) frame.fail('common.failed', { kind: 'encoding' }, { encoding: ['menu.no_utf8'] });
		else show(text, ...more);
	}

	// A template that isn't there is a new one, not a failure.
	async function load() {
		if (nameIsWrong()) return name.focus();
		if (!(await mayReplace())) return undefined;
		return bar.during('common.loading', async () => {
			const result = await call('loadmenu', { template: name.value });
			const told = [result.ok ? 'menu.loaded' : 'menu.new', { name: name.value }];
			if (result.ok) showBytes(result.bytes, told, true);
			else if (result.failure.kind === 'plain') show('', told, true);
			else frame.fail('common.failed', result.failure);
		});
	}

	async function openFile() {
		const [chosen] = file.files;
		if (chosen && (await mayReplace())) showBytes(await chosen.arrayBuffer(), ['menu.from_file', { file: chosen.name }], false);
		file.value = '';
	}

	function saveToFile() {
		const link = h('a', { download: `menu_${name.value}.xml` });
		link.href = URL.createObjectURL(new Blob([editor.get()], { type: 'application/xml' }));
		link.click();
		setTimeout(() => URL.revokeObjectURL(link.href), 60000);
	}

	const isStored = async (template, content) => {
		const result = await call('loadmenu', { template });
		return result.ok && decoded(result.bytes) === content;
	};

	// Another template's name may be one that exists already.
	async function mayOverwrite(template) {
		if (template === stored.name || !(await call('loadmenu', { template })).ok) return true;
		return ask({ title: ['menu.overwrite', { name: template }], yes: 'common.replace' });
	}

	const bar = createSaveBar(frame, {
		changed: () => textChanged() || name.value !== stored.name,
		wrong() {
			if (nameIsWrong()) return name;
			return textIsWrong() && { focus: () => editor.goTo(failedPlace) };
		},
		progress: () => (restart.checked ? ['form.restarting', { settings: [['menu.template', {}]] }] : 'form.saving'),
		async save() {
			const [template, content, restarts] = [name.value, editor.get(), restart.checked];
			if (!(await mayOverwrite(template))) return undefined;
			const result = await call('savemenu', { template, content, restartserver: String(restarts) });
			const saved = result.ok || (restarts && result.failure.kind === 'plain' && (await isStored(template, content)));
			if (saved) {
				stored = { name: template, text: content };
				setText(state, 'menu.loaded', { name: template });
			}
			if (result.ok) return restarts ? 'form.saved_restarted' : 'form.saved';
			frame.fail('common.save_failed', result.failure, saved ? { plain: ['menu.not_restarted', 'errors.restart_do'] } : {});
			return saved ? 'form.saved' : undefined;
		},
		discard() {
			name.value = stored.name;
			show(stored.text, ['menu.loaded', { name: stored.name }], true);
		},
	});
	frame.isChanged = textChanged;

	name.addEventListener('keydown', (event) => event.key === 'Enter' && load());
	name.addEventListener('input', () => nameError.node.hidden || nameIsWrong());
	editor.area.addEventListener('input', () => textError.node.hidden || textIsWrong());
	file.addEventListener('change', openFile);
	frame.body.replaceChildren(card(undefined,
		h('div.template-name', {}, h('label', { for: name.id, text: 'menu.template' }), name, choices,
			button('common.load', load)), nameError.node,
		h('div.editor-head', {}, h('label', { for: 'menu-text', text: 'menu.text' }), state,
			button('menu.open_file', () => file.click(), { kind: 'small' }), file,
			button('menu.save_file', saveToFile, { kind: 'small' })),
		editor.area, textError.node, h('p.help', { id: 'menu-text-help', text: 'menu.text_help' }),
		h('div.field', {}, h('label', { for: restart.id, text: 'menu.restart' }), restart)), bar.node);
	[name.value = ''] = appliance.menuStyles;
	if (name.value) await load();
}

export const menu = { name: 'menu', open };
