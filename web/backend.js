// All that the page says to the program: one POST for each action, and every way in which that can fail.
import { h, newId } from './widgets.js';

const PROGRAM = new URL('/cgi-bin/mediaserv', location.origin);
const BODY_LIMIT = 32 * 1024 * 1024; // the program refuses more
const PATIENCE = 120000; // milliseconds; a restart of the daemon may take half a minute

const failed = (kind, more = {}) => ({ ok: false, failure: { kind, line: 0, ...more } });

function parsed(text) {
	try {
		return JSON.parse(text);
	} catch {
		return null;
	}
}

// What an answer means, however it came.
// Its kinds of failure: `login` (401), `answer` (no JSON), `report` (the action failed at `line`), `plain` (it failed).
export function judged(status, text) {
	const answer = parsed(text);
	if (status === 401) return failed('login', { status });
	if (answer === null || typeof answer !== 'object' || !('success' in answer)) return failed('answer', { status });
	if (answer.success === true) return { ok: true, answer };
	return answer.error ? failed('report', { status, line: Number(answer.error.line) || 0 }) : failed('plain', { status });
}

// Runs an action. Gives { ok: true, answer } or, for a file, { ok: true, bytes }; else { ok: false, failure }.
// kind `large`: more than the program takes, not sent; kind `connection`: no answer.
export async function call(action, fields = {}) {
	const body = new URLSearchParams({ action, ...fields });
	if (body.toString().length > BODY_LIMIT) return failed('large');
	try {
		const response = await fetch(PROGRAM, { method: 'POST', body, signal: AbortSignal.timeout(PATIENCE) });
		const bytes = await response.arrayBuffer();
		if (response.ok && response.headers.get('Content-Type')?.startsWith('application/xml')) return { ok: true, bytes };
		return judged(response.status, new TextDecoder().decode(bytes));
	} catch {
		return failed('connection');
	}
}

// A download is the browser's own: a form sent to a frame out of sight, which loads only when there is an answer to
// read instead of a file. Calls `onFailure` then.
export function download(action, onFailure) {
	const frame = h('iframe', { name: newId('download'), hidden: true });
	const form = h('form', { method: 'post', action: PROGRAM, target: frame.name, hidden: true },
		h('input', { name: 'action', value: action }));
	document.body.append(frame, form);
	frame.addEventListener('load', () => {
		const answer = frame.contentDocument;
		if (answer?.URL === 'about:blank') return;
		const status = frame.contentWindow.performance?.getEntriesByType('navigation')[0]?.responseStatus;
		onFailure(answer ? judged(status, answer.body.textContent).failure : failed('connection').failure);
		frame.remove();
	});
	form.submit();
	form.remove();
}
