// Questions that are asked before something is lost.
import { button, h, newId } from './widgets.js';

// Asks a question. Resolves to true if the user confirms it. The button that loses nothing has the focus.
export function ask({ title, body, confirm }) {
	const id = newId('question');
	const dialog = h('dialog', { 'aria-labelledby': id, 'aria-describedby': body && `${id}-body` },
		h('h2', { id, text: title }),
		body && h('p', { id: `${id}-body`, text: body }),
		h('div.buttons', {},
			button('common.cancel', () => dialog.close(), { autofocus: true }),
			button(confirm, () => dialog.close('confirmed'), { kind: 'danger' })));
	document.body.append(dialog);
	dialog.showModal();
	return new Promise((resolve) => {
		dialog.addEventListener('close', () => {
			dialog.remove();
			resolve(dialog.returnValue === 'confirmed');
		});
	});
}

export function askToDiscard() {
	return ask({ title: 'common.discard_question', body: 'common.discard_body', confirm: 'common.discard' });
}
