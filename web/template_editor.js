// The text area for a menu template. The Tab key indents; after Escape it leaves the area. The line ends of the text
// stay as they were.
import { h } from './widgets.js';

// Returns { area, get, set, moveCursorTo }. The texts that describe the area have the ids ID-help and ID-error.
export function createTemplateEditor(id) {
	const area = h('textarea.code', {
		id,
		rows: '20',
		spellcheck: 'false',
		autocapitalize: 'off',
		wrap: 'off',
		'aria-describedby': `${id}-help ${id}-error`,
	});
	let tabIndents = true;
	let lineEnd = '\n';

	area.addEventListener('keydown', (event) => {
		if (event.key === 'Escape') tabIndents = false;
		if (event.key !== 'Tab' || event.shiftKey || !tabIndents) return;
		event.preventDefault();
		document.execCommand('insertText', false, '\t'); // no other way lets the user undo it
	});
	area.addEventListener('blur', () => (tabIndents = true));

	return {
		area,
		get: () => area.value.replaceAll('\n', lineEnd),
		set(text) {
			lineEnd = text.includes('\r\n') ? '\r\n' : '\n';
			area.value = text;
			area.setSelectionRange(0, 0);
		},
		moveCursorTo({ line, column }) {
			const linesBefore = area.value.split('\n').slice(0, line - 1);
			const lineStart = linesBefore.reduce((sum, text) => sum + text.length + 1, 0);
			const offset = Math.min(lineStart + column - 1, area.value.length);
			area.focus();
			area.setSelectionRange(offset, offset);
		},
	};
}
