// What surrounds a section: its heading, what went wrong, the bar with which it is saved.
import { setText } from './texts.js';
import { button, h, icon } from './widgets.js';

// What failed, and what to do about it, by the kind of a failure.
const FAILURES = {
	connection: ['errors.connection', 'errors.connection_do'],
	login: ['errors.login', 'errors.login_do'],
	answer: ['errors.answer', 'errors.report_do'],
	large: ['errors.large'],
	report: ['errors.report', 'errors.report_do'],
	plain: ['errors.plain', 'errors.report_do'],
};

// A frame gives `body` to fill, and `isChanged`, which tells whether something would be lost.
export function createFrame(section) {
	const notices = h('div');
	const body = h('div.section-body');
	const node = h('div.section', {},
		h('header.section-head', {},
			h('h1', { text: `${section.name}.title`, tabindex: '-1' }), h('p', { text: `${section.name}.intro` })),
		notices, body);
	const frame = { node, body, isChanged: () => false, clear: () => notices.replaceChildren() };

	// `title` says what was tried; `own` replaces the words for some kinds of failure.
	frame.fail = (title, failure, own = {}, ...actions) => {
		const [what, todo] = own[failure.kind] ?? FAILURES[failure.kind];
		notices.replaceChildren(h('div.notice.bad', { role: 'alert', tabindex: '-1' },
			icon('warning'),
			h('div', {}, h('p.notice-title', title),
				h('p', [what, failure]), todo && h('p', [todo, failure]), ...actions)));
		notices.firstChild.focus();
		notices.firstChild.scrollIntoView({ block: 'nearest' });
	};

	// Shows that something is fetched, until it is there; a failure can be tried again.
	frame.load = async (request) => {
		for (;;) {
			const waiting = h('p.waiting', { role: 'status' }, h('span.spinner'),
				h('span', 'common.loading'));
			body.replaceChildren(waiting);
			const result = await request();
			waiting.remove();
			if (result.ok) {
				frame.clear();
				return result.answer;
			}
			await new Promise((again) => {
				frame.fail('common.not_loaded', result.failure, {}, button('common.try_again', again));
			});
		}
	};
	return frame;
}

// The bar below what can be saved. `wrong` gives the first field that can't be, `progress` the text while it is, `save`
// the text afterwards, or nothing when it failed and said so. `during` is for a section's other tasks, which give the
// same.
export function createSaveBar(frame, { changed, wrong, progress, save, discard }) {
	const message = h('p.save-message', { role: 'status' });
	const spinner = h('span.spinner', { hidden: true });
	const discardButton = button('common.discard', () => running || discard(), { kind: 'quiet' });
	const saveButton = button('common.save', run, { kind: 'primary' });
	const node = h('div.save-bar', {}, spinner, message, discardButton, saveButton);
	let running = false;

	function update() {
		const idle = running || !changed();
		node.classList.toggle('idle', idle && !running && message.textContent === '');
		saveButton.setAttribute('aria-disabled', String(idle));
		discardButton.hidden = idle;
		spinner.hidden = !running;
	}

	function say(text) {
		setText(message, ...[text].flat(1));
		update();
	}

	// One thing at a time: what is asked for while something runs is not done.
	async function during(text, task) {
		if (running) return;
		frame.clear();
		running = true;
		say(text);
		const done = await task();
		running = false;
		say(done);
	}

	async function run() {
		if (running || !changed()) return;
		const field = wrong();
		if (field) {
			say('common.check_fields');
			field.focus();
			return;
		}
		await during(progress(), async () => (await save()) ?? 'common.not_saved');
	}

	frame.isChanged = changed;
	// Only what is typed ends the message; what the section itself changes doesn't.
	frame.body.addEventListener('input', () => (running ? update() : say(changed() ? 'common.unsaved' : undefined)));
	update();
	return { node, update, say, during };
}
