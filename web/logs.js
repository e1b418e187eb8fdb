// The daemon's log: whether it is written, its download and its deletion.
import { call, download } from './backend.js';
import { toggle } from './fields.js';
import { settingsSection } from './settings_form.js';
import { ask, button, card, task } from './widgets.js';

const DOWNLOAD_PAUSE = 3000; // milliseconds; the browser doesn't say when a download begins
const QUESTION = { title: 'logs.delete', body: 'logs.delete_body', yes: 'common.delete' };

function addTasks(frame, { bar }) {
	let downloading = false;

	function startDownload() {
		if (downloading) return;
		downloading = true;
		setTimeout(() => (downloading = false), DOWNLOAD_PAUSE);
		frame.clear();
		download('downloadlog', (failure) => {
			frame.fail('common.failed', failure);
		});
	}

	async function deleteLogs() {
		if (!(await ask(QUESTION))) return;
		await bar.during('common.loading', async () => {
			const result = await call('clearlog');
			if (result.ok) return 'logs.deleted';
			frame.fail('common.failed', result.failure);
			return undefined;
		});
	}

	bar.node.before(card(undefined,
		task('logs.download', button('common.download', startDownload)),
		task('logs.delete', button('common.delete', deleteLogs, { kind: 'danger' }))));
}

export const logs = settingsSection({
	name: 'logs',
	load: 'loadlogconf',
	save: 'applylogconf',
	restartLine: 0,
	rows: [
		{ field: 'dmslog', kind: toggle,
			lines: [1095, 1101] },
	],
	after: addTasks,
});
