// The section "Logs": whether the daemon writes its log, and the download and the deletion of all logs.
import { call, download } from './backend.js';
import { ask } from './dialogs.js';
import { toggle } from './fields.js';
import { settingsSection } from './settings_form.js';
import { button, card, taskRow } from './widgets.js';

const DOWNLOAD_PAUSE = 3000; // milliseconds until the next download; the browser doesn't report when one begins

function addTasks(frame, { bar }) {
	let mayDownload = true;

	function downloadLogs() {
		if (!mayDownload) return;
		mayDownload = false;
		setTimeout(() => (mayDownload = true), DOWNLOAD_PAUSE);
		frame.clearNotice();
		download('downloadlog', (failure) => frame.showFailure('common.failed', failure));
	}

	async function deleteLogs() {
		const isConfirmed = await ask({ title: 'logs.delete', body: 'logs.delete_body', confirm: 'common.delete' });
		if (!isConfirmed) return;
		await bar.runTask('logs.deleting', async () => {
			const result = await call('clearlog');
			if (result.ok) return 'logs.deleted';
			frame.showFailure('common.failed', result.failure);
			return undefined;
		});
	}

	bar.node.before(card(undefined,
		taskRow('logs.download', button('common.download', downloadLogs)),
		taskRow('logs.delete', button('common.delete', deleteLogs, { kind: 'danger' }))));
}

export const logs = settingsSection({
	name: 'logs',
	load: 'loadlogconf',
	save: 'applylogconf',
	restartFailureNumber: 0, // the action reports no other number
	rows: [
		{
			field: 'dmslog',
			kind: toggle,
			failureNumbers: [1095, 1101],
		},
	],
	addToForm: addTasks,
});
