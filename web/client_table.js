// The table of clients. The document contains one page of it, so that ten thousand clients cost no more than a few.
import { createClientChanges, toText } from './client_changes.js';
import { bothValues, createConflict } from './conflict.js';
import { currentLanguage, hasText, setText, textOf } from './texts.js';
import { externalText, h, iconButton, nameOption, switchInput } from './widgets.js';

const CLIENTS_PER_PAGE = 25;
const COLUMNS = [
	{ member: 'name', title: 'clients.name' },
	{ member: 'ip', title: 'clients.address' },
	{ member: 'macAddr', title: 'clients.mac' },
	{ member: 'profileName', title: 'clients.profile' },
	{ member: 'isAccess', title: 'clients.access' },
];
const SEARCHED_MEMBERS = ['name', 'ip', 'macAddr', 'profileName'];

// The words that the table shows for a member.
function shownText(member, value) {
	const text = toText(value);
	const key = `profiles.${text}`;
	return member === 'profileName' && hasText(key) ? textOf(key) : text;
}

function labelOf({ title }, member) {
	return [member === 'isAccess' ? 'clients.access_of' : 'clients.profile_of', { name: title }];
}

// How a conflict shows the value of a member.
function describe(member, value) {
	if (member === 'isAccess') return [value ? 'common.on' : 'common.off', {}];
	return value === '' ? ['common.empty_value', {}] : () => shownText(member, value);
}

// The program changes the first client that has a MAC address. Any other one with the same address has no key, and its
// controls are disabled.
function clientsOf(entries) {
	const keys = new Set();
	return entries.map((entry) => {
		const { macAddr } = entry;
		const key = typeof macAddr === 'string' && !keys.has(macAddr) ? macAddr : undefined;
		keys.add(macAddr);
		const title = SEARCHED_MEMBERS.map((member) => toText(entry[member])).find((text) => text !== '') ?? '';
		return { entry, key, title };
	});
}

// Returns the table's nodes (`node`, `count`, `pager`) and
//   show           shows another list with the user's changes. Returns { hasAdopted, dropped }: whether somebody else
//                  has changed clients, and the labels of changes of clients that are no longer in the list
//   search         shows the clients that contain a text
//   changes        returns the changes to save
//   conflicts      returns a notice for each member for which the user has to choose a value; its argument is called
//                  after each choice
//   markSaved      makes changes that were saved part of the list
//   discard        discards all changes
// `onChange` is called after each change.
export function createClientTable(profileNames, onChange) {
	const changes = createClientChanges();
	let clients = [];
	let found = [];
	let pageIndex = 0;
	let searchText = '';
	let order = { member: 'name', descending: false };
	let indexLanguage; // the language of the words in the search index

	const rows = h('tbody');
	const count = h('p.count', { role: 'status' });
	const empty = h('p.empty');
	const range = h('span');
	const previousButton = iconButton('previous', 'clients.previous', () => turnPage(-1));
	const nextButton = iconButton('next', 'clients.next', () => turnPage(1));
	const pager = h('div.pager', {}, previousButton, range, nextButton);
	const headings = COLUMNS.map(({ member, title }) =>
		h('th', { scope: 'col', 'data-member': member },
			h('button.sort', { type: 'button', text: title, on: { click: () => sortBy(member) } })));
	const area = h('div.table-area', { tabindex: '0', role: 'region', label: 'clients.title' },
		h('table', {}, h('thead', {}, h('tr', {}, ...headings)), rows));

	function change(client, member, value, row) {
		changes.change(client, member, value);
		row.classList.toggle('changed', changes.has(client));
		onChange();
	}

	function createConflictNotice({ client, member, theirs, mine }, onChoice) {
		const label = labelOf(client, member);
		return createConflict({
			label,
			title: label,
			text: bothValues(describe(member, theirs), describe(member, mine)),
			choose(keepsMine) {
				if (keepsMine) changes.endConflict(client, member);
				else changes.change(client, member, theirs);
				showPage();
				onChange();
				onChoice();
			},
		});
	}

	function createProfileSelect(client, row) {
		const value = toText(changes.valueOf(client, 'profileName'));
		const names = profileNames.includes(value) ? profileNames : [value, ...profileNames];
		const select = h('select', { label: labelOf(client, 'profileName'), disabled: !client.key },
			...names.map((name) => nameOption('profiles', name)));
		select.value = value;
		select.addEventListener('change', () => change(client, 'profileName', select.value, row));
		return select;
	}

	function createAccessSwitch(client, row) {
		const input = switchInput({ label: labelOf(client, 'isAccess'), disabled: !client.key });
		input.checked = changes.valueOf(client, 'isAccess') === true;
		input.addEventListener('change', () => change(client, 'isAccess', input.checked, row));
		return input;
	}

	function createRow(client) {
		const contentOf = (member) => {
			const value = toText(client.entry[member]);
			return value === '' ? h('span', 'common.empty_value') : externalText(value);
		};
		const row = h('tr', {},
			h('th.client-name', { scope: 'row' }, contentOf('name')),
			h('td.client-address', {}, contentOf('ip')),
			h('td.client-address', {}, contentOf('macAddr')));
		row.append(h('td', {}, createProfileSelect(client, row)), h('td', {}, createAccessSwitch(client, row)));
		row.classList.toggle('changed', changes.has(client));
		return row;
	}

	function showPage() {
		const pages = Math.max(1, Math.ceil(found.length / CLIENTS_PER_PAGE));
		pageIndex = Math.min(pageIndex, pages - 1);
		const first = pageIndex * CLIENTS_PER_PAGE;
		const shown = found.slice(first, first + CLIENTS_PER_PAGE);
		rows.replaceChildren(...shown.map(createRow));
		setText(count, ['clients.count', { found: found.length, count: clients.length }]);
		setText(range, ['clients.range', { first: first + 1, last: first + shown.length }]);
		setText(empty, clients.length === 0 ? 'clients.none' : 'common.no_match');
		empty.hidden = found.length > 0;
		area.hidden = found.length === 0;
		pager.hidden = pages === 1;
		previousButton.disabled = pageIndex === 0;
		nextButton.disabled = pageIndex === pages - 1;
	}

	function turnPage(step) {
		pageIndex += step;
		showPage();
		area.scrollIntoView({ block: 'nearest' });
	}

	function createIndex() {
		indexLanguage = currentLanguage();
		for (const client of clients) {
			const texts = SEARCHED_MEMBERS.map((member) => shownText(member, client.entry[member]));
			client.searchedText = texts.join('\n').toLocaleLowerCase();
		}
	}

	function find() {
		if (indexLanguage !== currentLanguage()) createIndex();
		const wanted = searchText.trim().toLocaleLowerCase();
		found = clients.filter(({ searchedText }) => searchedText.includes(wanted));
		pageIndex = 0;
		showPage();
	}

	function sort() {
		const { compare } = new Intl.Collator(currentLanguage(), { numeric: true });
		const direction = order.descending ? -1 : 1;
		const keyOf = (client) => shownText(order.member, changes.valueOf(client, order.member));
		const keys = new Map(clients.map((client) => [client, keyOf(client)]));
		clients.sort((one, other) => compare(keys.get(one), keys.get(other)) * direction);
		for (const heading of headings) {
			if (heading.dataset.member !== order.member) heading.removeAttribute('aria-sort');
			else heading.setAttribute('aria-sort', order.descending ? 'descending' : 'ascending');
		}
		find();
	}

	function sortBy(member) {
		order = { member, descending: order.member === member && !order.descending };
		sort();
	}

	function show(entries) {
		const oldClients = clients;
		const shownPage = pageIndex;
		clients = clientsOf(entries);
		createIndex();
		const { hasAdopted, dropped } = changes.rebase(oldClients, clients);
		sort();
		pageIndex = shownPage;
		showPage();
		onChange();
		return { hasAdopted, dropped: dropped.map(({ client, member }) => labelOf(client, member)) };
	}

	return {
		node: h('div', {}, area, empty),
		count,
		pager,
		show,
		search(text) {
			searchText = text;
			find();
		},
		changes: () => changes.toSave(clients),
		conflicts: (onChoice) => changes.listConflicts(clients).map((one) => createConflictNotice(one, onChoice)),
		markSaved(saved) {
			changes.markSaved(clients, saved);
			createIndex();
			showPage();
		},
		discard() {
			changes.discard();
			showPage();
		},
	};
}
