// The bar at the end of a section that can be saved: messages, "Discard changes" and "Save".
import { setText } from './texts.js';
import { button, h } from './widgets.js';

// The section gives the bar these functions:
//   isChanged          whether there is something to save
//   findInvalidField   returns the first field that can't be saved, after it has shown its error; or undefined
//   progressText       the text while a save runs
//   save               returns the text to show afterwards, or undefined if it failed and has shown the failure
//   discard            returns to what is stored
export function createSaveBar(frame, { isChanged, findInvalidField, progressText, save, discard }) {
	const message = h('p.save-message', { role: 'status' });
	const spinner = h('span.spinner', { hidden: true });
	const discardButton = button('common.discard', () => running || discard(), { kind: 'quiet' });
	const saveButton = button('common.save', saveChanges, { kind: 'primary' });
	const node = h('div.save-bar', {}, spinner, message, discardButton, saveButton);
	let running = false;

	function update() {
		const canSave = !running && isChanged();
		node.classList.toggle('idle', !running && !canSave && message.textContent === '');
		saveButton.setAttribute('aria-disabled', String(!canSave));
		discardButton.hidden = !canSave;
		spinner.hidden = !running;
	}

	function showMessage(text) {
		setText(message, text);
		update();
	}

	// Shows the text while the task runs, then the text that the task returns. Does nothing while another task runs.
	async function runTask(text, task) {
		if (running) return;
		frame.clearNotice();
		running = true;
		showMessage(text);
		const result = await task();
		running = false;
		showMessage(result);
	}

	async function saveChanges() {
		if (running || !isChanged()) return;
		const invalidField = findInvalidField();
		if (invalidField) {
			showMessage('common.check_fields');
			invalidField.focus();
			return;
		}
		await runTask(progressText(), async () => (await save()) ?? 'common.not_saved');
	}

	frame.isChanged = isChanged;
	// A message stays until the user types something.
	frame.body.addEventListener('input', () => {
		if (running) update();
		else showMessage(isChanged() ? 'common.unsaved' : undefined);
	});
	update();
	return { node, showMessage, runTask, focus: () => saveButton.focus() };
}
