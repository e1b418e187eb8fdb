// The page's requests to the program: one POST for each action, and every way in which a request can fail.
//
// A failure is { kind, failureNumber, status }:
//   connection   the program did not answer
//   login        the user is not signed in (status 401)
//   changed      the condition of a save failed (status 412): somebody else has changed the stored state
//   answer       the answer does not come from the program; `status` is its HTTP status
//   report       the program reports which step failed, by its failure number
//   plain        the program reports only that the action failed
//   large        the request is larger than the program accepts; it was not sent
import { h, newId } from './widgets.js';

const PROGRAM = new URL('/cgi-bin/mediaserv', location.origin);
const REQUEST_LIMIT = 32 * 1024 * 1024; // bytes; the program refuses a larger request
const TIMEOUT = 120000; // milliseconds; a restart of the daemon may take half a minute

export const ANY_STATE = '*'; // a condition that every state meets

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
	if (status === 412) return failed('changed', { status });
	if (answer.success === true) return { ok: true, answer };
	if (!answer.error) return failed('plain', { status });
	return failed('report', { status, failureNumber: Number(answer.error.line) || 0 });
}

// Returns the entity tag of the loaded or saved state. A web server that compresses an answer marks the tag as weak,
// and a weak tag would never meet a condition.
const tagOf = (response) => response.headers.get('ETag')?.replace(/^W\//, '');

// Runs an action. Returns { ok: true, answer, tag }, for a file { ok: true, bytes, tag }, or { ok: false, failure }.
//
// The result has the tag of the loaded or saved state if the request has a condition. The condition of a load is
// ANY_STATE, that of a save is the tag of the state that it changes. The program writes nothing if the stored state has
// another tag.
export async function call(action, fields = {}, condition = undefined) {
	const headers = condition ? { 'If-Match': condition } : {};
	const body = new URLSearchParams({ action, ...fields });
	if (body.toString().length > REQUEST_LIMIT) return failed('large');
	try {
		const response = await fetch(PROGRAM, { method: 'POST', headers, body, signal: AbortSignal.timeout(TIMEOUT) });
		const tag = tagOf(response);
		const bytes = await response.arrayBuffer();
		const isFile = response.headers.get('Content-Type')?.startsWith('application/xml');
		if (response.ok && isFile) return { ok: true, bytes, tag };
		return { ...readAnswer(response.status, new TextDecoder().decode(bytes)), tag };
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
