// The section "Clients": the devices that have used the media server, with their profiles and their access.
import { ANY_STATE, call } from './backend.js';
import { createClientTable } from './client_table.js';
import { ask } from './dialogs.js';
import { saveMerged, savedText } from './merged_save.js';
import { createSaveBar } from './save_bar.js';
import { button, card, h, searchField, taskRow } from './widgets.js';

// Loading the list takes a second, because the daemon writes it first. When the section is opened again, it shows this
// list until the new one is loaded.
let loaded; // { clients, tag, profileNames }

const objectsOf = (value) => (Array.isArray(value) ? value.filter((entry) => entry && typeof entry === 'object') : []);

const loadList = () => call('loadClientList', {}, ANY_STATE);

async function load() {
	const [list, profiles] = await Promise.all([loadList(), call('loadProfileList')]);
	if (!list.ok) return list;
	const profileList = profiles.ok ? objectsOf(profiles.answer.ProfileList) : [];
	const profileNames = profileList.map(({ profileName }) => profileName);
	return { ok: true, clients: objectsOf(list.answer.ClientList), tag: list.tag, profileNames };
}

// Returns the text about dropped changes; undefined if there are none.
const droppedText = (changes) => (changes.length > 0 ? ['clients.dropped', { changes }] : undefined);

async function open(frame) {
	const isKept = loaded !== undefined;
	loaded ??= await frame.load(load);
	const table = createClientTable(loaded.profileNames, () => frame.body.dispatchEvent(new Event('input')));
	const conflictArea = h('div');
	let conflicts = [];

	function showConflicts() {
		conflicts = table.conflicts(() => (conflicts[0] ?? bar).focus());
		conflictArea.replaceChildren(...conflicts.map(({ node }) => node));
	}

	async function refresh() {
		await bar.runTask('common.loading', async () => {
			const result = await loadList();
			if (!result.ok) return showFailure('common.failed', result.failure, 'clients.list_failed', 'errors.report_do');
			const { dropped } = showList(result);
			conflicts[0]?.focus();
			return droppedText(dropped);
		});
	}

	async function deleteAll() {
		const body = ['clients.delete_body', { count: loaded.clients.length }];
		if (!(await ask({ title: 'clients.delete', body, confirm: 'common.delete' }))) return;
		await bar.runTask('clients.deleting', async () => {
			const result = await call('clearClientList');
			if (!result.ok) {
				return showFailure('common.failed', result.failure, 'clients.delete_failed', 'clients.delete_failed_do');
			}
			table.discard();
			// The response has no tag. With the old one the next save fails its condition, and loads the list again.
			showList({ answer: result.answer, tag: loaded.tag });
			return 'clients.deleted';
		});
	}

	async function save() {
		const dropped = [];
		let showsMore = false;
		let sent;
		const result = await saveMerged({
			save() {
				sent = table.changes();
				return call('saveClientList', { modifiedInfo: JSON.stringify(sent) }, loaded.tag);
			},
			load: loadList,
			rebase(list) {
				const merged = showList(list);
				dropped.push(...merged.dropped);
				showsMore ||= merged.hasAdopted;
				return conflicts.length === 0;
			},
		});
		if (result.ok) {
			table.markSaved(sent);
			loaded.tag = result.tag;
			if (sent.length === 0 && dropped.length > 0) return droppedText(dropped);
			return savedText('clients.saved', droppedText(dropped) ?? (showsMore && ['form.shows_more', {}]));
		}
		if (result.failure) {
			return showFailure('common.save_failed', result.failure, 'clients.list_failed', 'errors.report_do');
		}
		conflicts[0].focus();
		return 'conflict.not_saved';
	}

	// Shows a list with the user's changes. Returns what `show` of client_table.js does.
	function showList({ answer, tag }) {
		loaded.clients = objectsOf(answer.ClientList);
		loaded.tag = tag;
		return table.show(loaded.clients);
	}

	// `what` and `whatToDo` are shown if the program reports only that the action failed.
	function showFailure(title, failure, what, whatToDo) {
		frame.showFailure(title, failure, { plain: [what, whatToDo] });
	}

	const bar = createSaveBar(frame, {
		isChanged: () => table.changes().length > 0,
		findInvalidField: () => conflicts[0],
		progressText: () => ['clients.saving', { count: table.changes().length }],
		save,
		discard() {
			table.discard();
			showConflicts();
			bar.showMessage(undefined);
		},
	});

	const toolbar = h('div.toolbar', {}, searchField(table.search), table.count,
		button('clients.refresh', refresh, { kind: 'small' }));
	const deleteRow = taskRow('clients.delete', button('common.delete', deleteAll, { kind: 'danger' }));
	frame.body.replaceChildren(
		card(undefined, conflictArea, toolbar, table.node, table.pager), card(undefined, deleteRow), bar.node);
	frame.body.addEventListener('input', showConflicts);
	table.show(loaded.clients);
	if (isKept) await refresh();
}

export const clients = { name: 'clients', open };
