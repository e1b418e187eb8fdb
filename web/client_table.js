// The table of clients. The document holds one page of it, so that ten thousand cost no more than twenty-five.
import { currentLanguage, setText } from './texts.js';
import { foreign, h, iconButton, switchInput } from './widgets.js';

const PAGE = 25;
const COLUMNS = [
	{ member: 'name', title: 'clients.name' },
	{ member: 'ip', title: 'clients.address' },
	{ member: 'macAddr', title: 'clients.mac' },
	{ member: 'profileName', title: 'clients.profile' },
	{ member: 'isAccess', title: 'clients.access' },
];
const SEARCHED = ['name', 'ip', 'macAddr', 'profileName'];

const shownText = (value) => (value === undefined || value === null ? '' : String(value));

// `show` takes another list and keeps the changes of clients that are in it; `changes` gives what differs from the list,
// as the program takes it; `stored` takes those that are changes no more.
export function createClientTable(profiles, onChange) {
	let clients = [];
	let found = [];
	let page = 0;
	let words = '';
	let order = { member: 'name', descending: false };
	const edits = new Map(); // by client: what of it is different

	const body = h('tbody');
	const count = h('p.count', { role: 'status' });
	const empty = h('p.empty');
	const place = h('span.place');
	const previous = iconButton('previous', 'clients.previous', () => turn(-1));
	const next = iconButton('next', 'clients.next', () => turn(1));
	const pager = h('div.pager', {}, previous, place, next);

	const valueOf = (client, member) => edits.get(client.key)?.[member] ?? client.entry[member];

	function edit(client, member, value, row) {
		const now = { ...edits.get(client.key), [member]: value };
		if (now[member] === client.entry[member]) delete now[member];
		if (Object.keys(now).length > 0) edits.set(client.key, now);
		else edits.delete(client.key);
		row.classList.toggle('edited', edits.has(client.key));
		onChange();
	}

	function profileChoice(client, row) {
		const value = shownText(valueOf(client, 'profileName'));
		const names = profiles.includes(value) ? profiles : [value, ...profiles];
		const select = h('select', { label: ['clients.profile_of', { name: client.title }], disabled: !client.key },
			...names.map((name) => h('option', { value: name }, name)));
		select.value = value;
		select.addEventListener('change', () => edit(client, 'profileName', select.value, row));
		return select;
	}

	function accessSwitch(client, row) {
		const input = switchInput({ label: ['clients.access_of', { name: client.title }], disabled: !client.key });
		input.checked = valueOf(client, 'isAccess') === true;
		input.addEventListener('change', () => edit(client, 'isAccess', input.checked, row));
		return input;
	}

	function createRow(client) {
		const row = h('tr', { class: edits.has(client.key) ? 'edited' : undefined });
		const texts = ['name', 'ip', 'macAddr'].map((member) =>
			h(member === 'name' ? 'th' : 'td', { scope: member === 'name' && 'row', class: member === 'name' ? 'client-name' : 'client-address' },
				shownText(client.entry[member]) === '' ? h('span', 'common.empty_value') : foreign(client.entry[member])));
		row.append(...texts, h('td', {}, profileChoice(client, row)), h('td', {}, accessSwitch(client, row)));
		return row;
	}

	function render() {
		const pages = Math.max(1, Math.ceil(found.length / PAGE));
		page = Math.min(page, pages - 1);
		const first = page * PAGE;
		const shown = found.slice(first, first + PAGE);
		body.replaceChildren(...shown.map(createRow));
		setText(count, 'clients.count', { found: found.length, all: clients.length });
		place.textContent = [first + 1, first + shown.length].map((at) => at.toLocaleString(currentLanguage())).join('–');
		setText(empty, clients.length === 0 ? 'clients.none' : 'common.no_match');
		empty.hidden = found.length > 0;
		node.hidden = found.length === 0;
		pager.hidden = pages === 1;
		previous.disabled = page === 0;
		next.disabled = page === pages - 1;
	}

	function find() {
		const wanted = words.trim().toLocaleLowerCase();
		found = clients.filter(({ searched }) => searched.includes(wanted));
		page = 0;
		render();
	}

	function turn(by) {
		page += by;
		render();
		node.scrollIntoView({ block: 'nearest' });
	}

	function sort() {
		const { compare } = new Intl.Collator(currentLanguage(), { numeric: true });
		const keys = new Map(clients.map((client) => [client, shownText(valueOf(client, order.member))]));
		clients.sort((one, other) => compare(keys.get(one), keys.get(other)) * (order.descending ? -1 : 1));
		for (const head of node.querySelectorAll('th[data-member]')) {
			const sorted = head.dataset.member === order.member;
			if (sorted) head.setAttribute('aria-sort', order.descending ? 'descending' : 'ascending');
			else head.removeAttribute('aria-sort');
		}
		find();
	}

	const heads = COLUMNS.map(({ member, title }) => h('th', { scope: 'col', 'data-member': member },
		h('button', { type: 'button', class: 'sort', text: title, on: { click: () => {
			order = { member, descending: order.member === member && !order.descending };
			sort();
		} } })));
	const node = h('div.table-area', { tabindex: '0', role: 'region', label: 'clients.title' },
		h('table', {}, h('thead', {}, h('tr', {}, ...heads)), body));

	// The program finds a client by its address; of two with the same one it changes the first, so only that has a key.
	function show(entries) {
		const keys = new Set();
		clients = entries.map((entry) => {
			const { macAddr } = entry;
			const key = typeof macAddr === 'string' && !keys.has(macAddr) ? macAddr : undefined;
			keys.add(macAddr);
			const texts = SEARCHED.map((member) => shownText(entry[member]));
			return { entry, key, title: texts.find((text) => text !== '') ?? '', searched: texts.join('\n').toLocaleLowerCase() };
		});
		for (const key of edits.keys()) if (!keys.has(key)) edits.delete(key);
		sort();
		onChange();
	}

	return {
		node: h('div', {}, node, empty),
		pager,
		count,
		show,
		search(wanted) {
			words = wanted;
			find();
		},
		changes: () => clients.filter(({ key }) => edits.has(key)).map((client) => ({
			macAddr: client.key,
			profileName: shownText(valueOf(client, 'profileName')),
			isAccess: valueOf(client, 'isAccess') === true,
		})),
		stored(changes) {
			const saved = new Map(changes.map((change) => [change.macAddr, change]));
			for (const client of clients) {
				const { profileName, isAccess } = saved.get(client.key) ?? {};
				if (isAccess === undefined) continue;
				Object.assign(client.entry, { profileName, isAccess });
				const left = Object.entries(edits.get(client.key) ?? {}).filter(([member, value]) => client.entry[member] !== value);
				if (left.length > 0) edits.set(client.key, Object.fromEntries(left));
				else edits.delete(client.key);
			}
			render();
		},
		discard() {
			edits.clear();
			render();
		},
	};
}
