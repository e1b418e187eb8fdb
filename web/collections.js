// Which of the user's collections players see.
import { call } from './backend.js';
import { createSaveBar } from './frame.js';
import { button, card, foreign, h, searchField } from './widgets.js';
import { currentLanguage, setText } from './texts.js';

const SPECIAL = { '-1': 'collections.favourites', '-2': 'collections.watch_list' };

function createEntry({ id, title, exposed }) {
	const box = h('input', { type: 'checkbox', class: 'check' });
	const name = id in SPECIAL ? h('span', { text: SPECIAL[id] }) : foreign(title, 'span');
	box.checked = exposed === true;
	const node = h('li', {}, h('label.collection', {}, box, name));
	return { id, node, box, name };
}

// The special ones first, the others as the page's language orders them.
function sorted(entries) {
	const { compare } = new Intl.Collator(currentLanguage(), { numeric: true });
	return entries.toSorted((one, other) =>
		(other.id in SPECIAL) - (one.id in SPECIAL) || compare(one.name.textContent, other.name.textContent));
}

async function open(frame) {
	const { data } = await frame.load(() => call('loadCollection'));
	const entries = data.collections.map(createEntry);
	let stored = JSON.stringify(published());

	function published() {
		return entries.filter(({ box }) => box.checked).map(({ id }) => id);
	}

	const count = h('p.count', { role: 'status' });
	const none = h('p.empty', { text: 'common.no_match', hidden: true });
	const shown = () => entries.filter(({ node }) => !node.hidden);

	function search(words) {
		for (const entry of entries) entry.node.hidden = !entry.name.textContent.toLocaleLowerCase().includes(words.trim().toLocaleLowerCase());
		none.hidden = shown().length > 0;
		tellCount();
	}

	const tellCount = () => setText(count, 'collections.count', { published: published().length, all: entries.length });

	function check(checked) {
		for (const { box } of shown()) box.checked = checked;
		frame.body.dispatchEvent(new Event('input'));
	}

	const bar = createSaveBar(frame, {
		changed: () => JSON.stringify(published()) !== stored,
		wrong: () => undefined,
		progress: () => 'form.saving',
		async save() {
			const sent = JSON.stringify(published());
			const result = await call('saveCollection', { exposed_collections: sent });
			if (!result.ok) return frame.fail('common.save_failed', result.failure);
			stored = sent;
			return 'form.saved';
		},
		discard() {
			const before = new Set(JSON.parse(stored));
			for (const { id, box } of entries) box.checked = before.has(id);
			tellCount();
			bar.say(undefined);
		},
	});

	frame.body.addEventListener('input', tellCount);
	tellCount();
	if (entries.length === 0) {
		frame.body.replaceChildren(card(undefined, h('p.empty', 'collections.empty')));
		return;
	}
	frame.body.replaceChildren(card(undefined,
		h('div.toolbar', {}, searchField(search), count,
			h('span.buttons', {}, button('collections.all', () => check(true), { kind: 'small' }),
				button('collections.none', () => check(false), { kind: 'small' }))),
		h('ul.collections', {}, ...sorted(entries).map(({ node }) => node)), none), bar.node);
}

export const collections = { name: 'collections', open };
