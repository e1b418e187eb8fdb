// The section "Collections": which of the user's video collections players show.
import { ANY_STATE, call } from './backend.js';
import { merge } from './merge.js';
import { saveMerged, savedText } from './merged_save.js';
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

const load = () => call('loadCollection', {}, ANY_STATE);

// Returns whether each listed collection is published, by id.
function publishedById({ data }) {
	return Object.fromEntries(data.collections.map(({ id, exposed }) => [id, exposed === true]));
}

// An empty list may mean that the video library does not answer. It does not show what somebody else has changed.
async function loadToMerge() {
	const result = await load();
	const isEmpty = result.ok && result.answer.data.collections.length === 0;
	return isEmpty ? { ok: false, failure: { kind: 'library' } } : result;
}

async function open(frame) {
	const { answer, tag } = await frame.load(load);
	if (answer.data.collections.length === 0) {
		frame.body.replaceChildren(card(undefined, h('p.empty', 'collections.empty')));
		return;
	}
	const list = h('ul.collections');
	const count = h('p.count', { role: 'status' });
	const noMatch = h('p.empty', { text: 'common.no_match', hidden: true });

	let items = [];
	let searchText = '';
	let stored = {}; // whether each collection is published, by id, also of those that are no longer listed
	let storedTag;

	const isChanged = ({ id, box }) => box.checked !== stored[id];
	const published = () => ({ ...stored, ...Object.fromEntries(items.map(({ id, box }) => [id, box.checked])) });
	const visibleItems = () => items.filter(({ node }) => !node.hidden);

	function showCount() {
		const checked = items.filter(({ box }) => box.checked);
		setText(count, ['collections.count', { published: checked.length, count: items.length }]);
	}

	function search(text) {
		searchText = text;
		const wanted = text.trim().toLocaleLowerCase();
		for (const { node, label } of items) node.hidden = !label.textContent.toLocaleLowerCase().includes(wanted);
		noMatch.hidden = visibleItems().length > 0;
	}

	function checkVisible(checked) {
		for (const { box } of visibleItems()) box.checked = checked;
		frame.body.dispatchEvent(new Event('input'));
	}

	// Shows the loaded list with the user's changes. Returns whether somebody else has changed something.
	function rebase(loaded) {
		const theirs = publishedById(loaded.answer);
		const { merged, adopted } = merge(stored, published(), theirs);
		stored = { ...stored, ...theirs };
		storedTag = loaded.tag;
		items = loaded.answer.data.collections.map(createItem);
		for (const { id, box } of items) box.checked = merged[id];
		list.replaceChildren(...sortItems(items).map(({ node }) => node));
		search(searchText);
		showCount();
		return adopted.length > 0;
	}

	// A save replaces the whole choice. It contains the collections that were published and are no longer listed, too.
	async function save() {
		let sent;
		let showsMore = false;
		const result = await saveMerged({
			save() {
				sent = published();
				const ids = Object.keys(sent).filter((id) => sent[id]);
				return call('saveCollection', { exposed_collections: JSON.stringify(ids) }, storedTag);
			},
			load: loadToMerge,
			rebase(loaded) {
				showsMore = rebase(loaded) || showsMore;
				return true; // two changes of one collection are the same
			},
		});
		if (!result.ok) {
			const texts = { library: ['collections.empty'] };
			return frame.showFailure('common.save_failed', result.failure, texts);
		}
		stored = sent;
		storedTag = result.tag;
		return savedText('form.saved', showsMore && ['form.shows_more', {}]);
	}

	const bar = createSaveBar(frame, {
		isChanged: () => items.some(isChanged),
		findInvalidField: () => undefined,
		progressText: () => 'form.saving',
		save,
		discard() {
			for (const { id, box } of items) box.checked = stored[id];
			showCount();
			bar.showMessage(undefined);
		},
	});

	const toolbar = h('div.toolbar', {}, searchField(search), count,
		h('span.buttons', {},
			button('collections.select_all', () => checkVisible(true), { kind: 'small' }),
			button('collections.select_none', () => checkVisible(false), { kind: 'small' })));
	frame.body.replaceChildren(card(undefined, toolbar, list, noMatch), bar.node);
	frame.body.addEventListener('input', showCount);
	rebase({ answer, tag });
}

export const collections = { name: 'collections', open };
