// The section "Clients": the devices that have used the media server, with their profiles and their access.
import { call } from './backend.js';
import { createClientTable } from './client_table.js';
import { ask } from './dialogs.js';
import { createSaveBar } from './save_bar.js';
import { button, card, h, searchField, taskRow } from './widgets.js';

// Kept while the page is open: the daemon needs a second to write its list. "Refresh" loads the list again.
let loaded; // { clients, profileNames }

const objectsOf = (value) => (Array.isArray(value) ? value.filter((entry) => entry && typeof entry === 'object') : []);

async function load() {
	const [list, profiles] = await Promise.all([call('loadClientList'), call('loadProfileList')]);
	if (!list.ok) return list;
	const profileList = profiles.ok ? objectsOf(profiles.answer.ProfileList) : [];
	const profileNames = profileList.map(({ profileName }) => profileName);
	return { ok: true, answer: { clients: objectsOf(list.answer.ClientList), profileNames } };
}

async function open(frame) {
	loaded ??= await frame.load(load);
	const table = createClientTable(loaded.profileNames, () => frame.body.dispatchEvent(new Event('input')));

	async function refresh() {
		await bar.runTask('common.loading', async () => {
			const result = await call('loadClientList');
			if (!result.ok) return showFailure('common.failed', result.failure, 'clients.list_failed', 'errors.report_do');
			showList(result.answer);
			return undefined;
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
			showList(result.answer);
			return 'clients.deleted';
		});
	}

	async function save() {
		const changes = table.changes();
		const result = await call('saveClientList', { modifiedInfo: JSON.stringify(changes) });
		if (!result.ok) {
			return showFailure('common.save_failed', result.failure, 'clients.list_failed', 'errors.report_do');
		}
		table.markSaved(changes);
		return 'clients.saved';
	}

	function showList(answer) {
		loaded.clients = objectsOf(answer.ClientList);
		table.show(loaded.clients);
	}

	// `what` and `whatToDo` are shown if the program reports only that the action failed.
	function showFailure(title, failure, what, whatToDo) {
		frame.showFailure(title, failure, { plain: [what, whatToDo] });
	}

	const bar = createSaveBar(frame, {
		isChanged: () => table.changes().length > 0,
		findInvalidField: () => undefined,
		progressText: () => ['clients.saving', { count: table.changes().length }],
		save,
		discard() {
			table.discard();
			bar.showMessage(undefined);
		},
	});

	const toolbar = h('div.toolbar', {}, searchField(table.search), table.count,
		button('clients.refresh', refresh, { kind: 'small' }));
	const deleteRow = taskRow('clients.delete', button('common.delete', deleteAll, { kind: 'danger' }));
	frame.body.replaceChildren(card(undefined, toolbar, table.node, table.pager), card(undefined, deleteRow), bar.node);
	table.show(loaded.clients);
}

export const clients = { name: 'clients', open };
