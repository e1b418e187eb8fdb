// The page's requests to the program: one POST for each action, and every way in which a request can fail.
//
// A failure is { kind, failureNumber, status }:
//   connection   the program did not answer
//   login        the user is not signed in (status 401)
//   answer       the answer does not come from the program; `status` is its HTTP status
//   report       the program reports which step failed, by its failure number
//   plain        the program reports only that the action failed
//   large        the request is larger than the program accepts; it was not sent
import { h, newId } from './widgets.js';

const PROGRAM = new URL('/cgi-bin/mediaserv', location.origin);
const REQUEST_LIMIT = 32 * 1024 * 1024; // bytes; the program refuses a larger request
const TIMEOUT = 120000; // milliseconds; a restart of the daemon may take half a minute

const failed = (kind, details = {}) => ({ ok: false, failure: { kind, failureNumber: 0, ...details } });

function parseJson(text) {
	try {
		return JSON.parse(text);
	} catch {
		return null;
	}
}

// Returns { ok: true, answer } or { ok: false, failure } for the status and the body of an answer.
function readAnswer(status, body) {
	if (status === 401) return failed('login', { status });
	const answer = parseJson(body);
	if (answer === null || typeof answer !== 'object' || !('success' in answer)) return failed('answer', { status });
	if (answer.success === true) return { ok: true, answer };
	if (!answer.error) return failed('plain', { status });
	return failed('report', { status, failureNumber: Number(answer.error.line) || 0 });
}

// Runs an action. Returns { ok: true, answer }, for a file { ok: true, bytes }, or { ok: false, failure }.
export async function call(action, fields = {}) {
	const body = new URLSearchParams({ action, ...fields });
	if (body.toString().length > REQUEST_LIMIT) return failed('large');
	try {
		const response = await fetch(PROGRAM, { method: 'POST', body, signal: AbortSignal.timeout(TIMEOUT) });
		const bytes = await response.arrayBuffer();
		const isFile = response.headers.get('Content-Type')?.startsWith('application/xml');
		if (response.ok && isFile) return { ok: true, bytes };
		return readAnswer(response.status, new TextDecoder().decode(bytes));
	} catch {
		return failed('connection');
	}
}

// Runs an action whose answer is a file, which the browser downloads: a form is sent to a hidden frame. The frame loads
// a document only if the answer is not a file; `onFailure` is then called with the failure.
export function download(action, onFailure) {
	const frame = h('iframe', { name: newId('download'), hidden: true });
	const form = h('form', { method: 'post', action: PROGRAM, target: frame.name, hidden: true },
		h('input', { name: 'action', value: action }));
	document.body.append(frame, form);
	frame.addEventListener('load', () => {
		const answer = frame.contentDocument;
		if (answer?.URL === 'about:blank') return;
		const status = frame.contentWindow.performance?.getEntriesByType('navigation')[0]?.responseStatus;
		const result = answer ? readAnswer(status, answer.body.textContent) : failed('connection');
		onFailure(result.failure);
		frame.remove();
	});
	form.submit();
	form.remove();
}
