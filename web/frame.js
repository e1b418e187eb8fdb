// What surrounds each section: its heading, and the notice that shows a failure.
import { button, h, icon } from './widgets.js';

// What happened and what to do, for each kind of failure of backend.js.
const FAILURE_TEXTS = {
	connection: ['errors.connection', 'errors.connection_do'],
	login: ['errors.login', 'errors.login_do'],
	answer: ['errors.answer', 'errors.report_do'],
	large: ['errors.large', 'errors.large_do'],
	report: ['errors.report', 'errors.report_do'],
	plain: ['errors.plain', 'errors.report_do'],
	changed: ['errors.changed', 'errors.changed_do'],
};

// Returns the frame of a section. The section fills `body` and sets `isChanged`, which returns whether the user would
// lose changes by leaving the section.
export function createFrame(section) {
	const notices = h('div');
	const body = h('div.section-body');
	const heading = h('header.section-head', {},
		h('h1', { text: `${section.name}.title`, tabindex: '-1' }),
		h('p', `${section.name}.intro`));
	const node = h('div.section', {}, heading, notices, body);

	function clearNotice() {
		notices.replaceChildren();
	}

	// The title names what failed. `texts` replaces FAILURE_TEXTS for some kinds of failure.
	function showFailure(title, failure, texts = {}, ...actions) {
		const [what, whatToDo] = texts[failure.kind] ?? FAILURE_TEXTS[failure.kind];
		const notice = h('div.notice', { role: 'alert', tabindex: '-1' },
			icon('warning'),
			h('div', {},
				h('p.notice-title', title),
				h('p', [what, failure]),
				whatToDo && h('p', whatToDo),
				...actions));
		notices.replaceChildren(notice);
		notice.focus();
		notice.scrollIntoView({ block: 'nearest' });
	}

	// Runs a request until it succeeds, and returns its result. The user can repeat a request that failed.
	async function load(request) {
		for (;;) {
			body.replaceChildren(h('p.waiting', { role: 'status' }, h('span.spinner'), h('span', 'common.loading')));
			const result = await request();
			body.replaceChildren();
			if (result.ok) {
				clearNotice();
				return result;
			}
			await new Promise((tryAgain) => {
				showFailure('common.not_loaded', result.failure, {}, button('common.try_again', tryAgain));
			});
		}
	}

	return { node, body, isChanged: () => false, clearNotice, showFailure, load };
}
