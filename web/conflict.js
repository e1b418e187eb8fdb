// The notice beside something that the user and somebody else have changed to different values, with two buttons to
// choose one of them.
import { button, h, icon, newId } from './widgets.js';

// `label` is the text that names what both have changed; `title` shows it if the notice is not beside its field. `text`
// describes the two values, and `children` follow it. `choose` is called with true if the user keeps the own value, and
// with false if the user prefers the stored one.
// Returns { node, focus }.
export function createConflict({ label, title, text, choose }, ...children) {
	const id = newId('conflict');
	const choiceButton = (words, keepsMine) => button(words, () => choose(keepsMine), {
		kind: 'small',
		label: ['conflict.choice_of', { choice: [words, {}], label }],
		'aria-describedby': id,
	});
	const node = h('div.conflict', { role: 'group', tabindex: '-1', label, 'aria-describedby': id },
		icon('warning'),
		h('div', {},
			title && h('p.notice-title', title),
			h('p', { id, text }),
			...children,
			h('div.buttons', {}, choiceButton('conflict.keep_mine', true), choiceButton('conflict.use_theirs', false))));
	return {
		node,
		focus() {
			node.focus();
			node.scrollIntoView({ block: 'nearest' });
		},
	};
}

// The text that shows both values. They are values of a text, as texts.js describes them.
export const bothValues = (theirs, mine) => ['conflict.both', { theirs, mine }];
