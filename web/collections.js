// The section "Collections": which of the user's video collections players show.
import { call } from './backend.js';
import { createSaveBar } from './save_bar.js';
import { currentLanguage, setText } from './texts.js';
import { button, card, externalText, h, searchField } from './widgets.js';

// The collections that the video library itself provides, by id.
const BUILT_IN_TITLES = { '-1': 'collections.favourites', '-2': 'collections.watch_list' };

function createItem({ id, title, exposed }) {
	const box = h('input.check', { type: 'checkbox' });
	const label = id in BUILT_IN_TITLES ? h('span', BUILT_IN_TITLES[id]) : externalText(title, 'span');
	box.checked = exposed === true;
	return { id, box, label, node: h('li', {}, h('label.collection', {}, box, label)) };
}

// The built-in ones come first, the others follow in the order of the page's language.
function sortItems(items) {
	const { compare } = new Intl.Collator(currentLanguage(), { numeric: true });
	return items.toSorted((one, other) =>
		(other.id in BUILT_IN_TITLES) - (one.id in BUILT_IN_TITLES)
		|| compare(one.label.textContent, other.label.textContent));
}

async function open(frame) {
	const { data } = await frame.load(() => call('loadCollection'));
	if (data.collections.length === 0) {
		frame.body.replaceChildren(card(undefined, h('p.empty', 'collections.empty')));
		return;
	}
	const items = data.collections.map(createItem);
	const count = h('p.count', { role: 'status' });
	const noMatch = h('p.empty', { text: 'common.no_match', hidden: true });

	const publishedIds = () => items.filter(({ box }) => box.checked).map(({ id }) => id);
	const visibleItems = () => items.filter(({ node }) => !node.hidden);
	let stored = JSON.stringify(publishedIds());

	function showCount() {
		setText(count, ['collections.count', { published: publishedIds().length, count: items.length }]);
	}

	function search(text) {
		const wanted = text.trim().toLocaleLowerCase();
		for (const { node, label } of items) node.hidden = !label.textContent.toLocaleLowerCase().includes(wanted);
		noMatch.hidden = visibleItems().length > 0;
	}

	function checkVisible(checked) {
		for (const { box } of visibleItems()) box.checked = checked;
		frame.body.dispatchEvent(new Event('input'));
	}

	const bar = createSaveBar(frame, {
		isChanged: () => JSON.stringify(publishedIds()) !== stored,
		findInvalidField: () => undefined,
		progressText: () => 'form.saving',
		async save() {
			const sent = JSON.stringify(publishedIds());
			const result = await call('saveCollection', { exposed_collections: sent });
			if (!result.ok) return frame.showFailure('common.save_failed', result.failure);
			stored = sent;
			return 'form.saved';
		},
		discard() {
			const storedIds = new Set(JSON.parse(stored));
			for (const { id, box } of items) box.checked = storedIds.has(id);
			showCount();
			bar.showMessage(undefined);
		},
	});

	const toolbar = h('div.toolbar', {}, searchField(search), count,
		h('span.buttons', {},
			button('collections.select_all', () => checkVisible(true), { kind: 'small' }),
			button('collections.select_none', () => checkVisible(false), { kind: 'small' })));
	const listed = h('ul.collections', {}, ...sortItems(items).map(({ node }) => node));
	frame.body.replaceChildren(card(undefined, toolbar, listed, noMatch), bar.node);
	frame.body.addEventListener('input', showCount);
	showCount();
}

export const collections = { name: 'collections', open };
