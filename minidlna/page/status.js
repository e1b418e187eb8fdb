// The state of the media server, below the head of the page. dms keeps it in status.json beside the page.
import { addTexts, pageUrl } from './texts.js';
import { externalText, h } from './widgets.js';

const COUNTS = { audio: 'status.audio', video: 'status.video', images: 'status.images', clients: 'status.clients' };
const INTERVAL = 10000; // milliseconds between two requests while the page is visible

const line = h('div.server-status', { role: 'group', hidden: true });

const fromSeconds = (seconds) => new Date(seconds * 1000);

function createParts(state) {
	const parts = [];
	if (state.running_since) {
		parts.push(h('span', ['status.running', { since: fromSeconds(state.running_since) }]));
		for (const [member, key] of Object.entries(COUNTS)) {
			parts.push(h('span', [key, { count: state[member] ?? 0 }]));
		}
	} else {
		parts.push(h('span', 'status.stopped'));
	}
	if (state.scanning) parts.push(h('span', 'status.scanning'));
	if (state.last_error) {
		const { time, text } = state.last_error;
		parts.push(h('span', {}, h('span', ['status.error', { time: fromSeconds(time) }]), ' ', externalText(text)));
	}
	return parts;
}

// Shows nothing if the file is missing or is not valid.
async function update() {
	if (document.hidden) return;
	try {
		const response = await fetch(pageUrl('status.json'));
		const state = await response.json();
		line.replaceChildren(...createParts(state));
		line.classList.toggle('stopped', !state.running_since);
		line.hidden = false;
	} catch {
		line.hidden = true;
	}
}

await addTexts('status_texts.');
document.head.append(h('link', { rel: 'stylesheet', href: 'status.css' }));
document.querySelector('.page-head').after(line);
document.addEventListener('visibilitychange', update);
setInterval(update, INTERVAL);
update();
