// The daemon's clients: their profiles and who may use the server.
import { call } from './backend.js';
import { createClientTable } from './client_table.js';
import { createSaveBar } from './frame.js';
import { ask, button, card, h, searchField, task } from './widgets.js';

// Kept between visits: the daemon takes a second to tell its clients, and the list has a button to tell them again.
let known;

const listOf = (value) => (Array.isArray(value) ? value.filter((entry) => entry && typeof entry === 'object') : []);

async function loadAll() {
	const [list, profiles] = await Promise.all([call('loadClientList'), call('loadProfileList')]);
	if (!list.ok) return list;
	const names = profiles.ok ? listOf(profiles.answer.ProfileList).map(({ profileName }) => profileName) : [];
	return { ok: true, answer: { clients: listOf(list.answer.ClientList), profiles: names } };
}

async function open(frame) {
	known ??= await frame.load(loadAll);
	const table = createClientTable(known.profiles, () => frame.body.dispatchEvent(new Event('input')));

	const list = (action, progress, words, done) => bar.during(progress, async () => {
		const result = await call(action);
		if (!result.ok) return frame.fail('common.failed', result.failure, { plain: words });
		known.clients = listOf(result.answer.ClientList);
		if (done) table.discard();
		table.show(known.clients);
		return done;
	});
	const refresh = () => list('loadClientList', 'common.loading', ['clients.no_list', 'errors.report_do']);

	async function forget() {
		const body = ['clients.forget_body', { count: known.clients.length }];
		if (await ask({ title: 'clients.forget', body, yes: 'common.delete' })) {
			await list('clearClientList', 'clients.forgetting', ['clients.forget_failed', 'errors.restart_do'], 'clients.forgotten');
		}
	}

	const bar = createSaveBar(frame, {
		changed: () => table.changes().length > 0,
		wrong: () => undefined,
		progress: () => ['clients.saving', { count: table.changes().length }],
		async save() {
			const changes = table.changes();
			const result = await call('saveClientList', { modifiedInfo: JSON.stringify(changes) });
			if (!result.ok) return frame.fail('common.save_failed', result.failure, { plain: ['clients.no_list', 'errors.report_do'] });
			table.stored(changes);
			return 'clients.saved';
		},
		discard() {
			table.discard();
			bar.say(undefined);
		},
	});

	frame.body.replaceChildren(
		card(undefined,
			h('div.toolbar', {}, searchField(table.search), table.count,
				button('clients.refresh', refresh, { kind: 'small' })),
			table.node, table.pager),
		card(undefined, task('clients.forget', button('common.delete', forget, { kind: 'danger' }))),
		bar.node);
	table.show(known.clients);
}

export const clients = { name: 'clients', open };
