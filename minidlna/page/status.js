// What the media server says of itself, below the page's head: status.json beside the page, which dms keeps up to date.
import { currentLanguage, pageUrl } from './texts.js';
import { foreign, h } from './widgets.js';

const PAUSE = 10000; // milliseconds between two looks while the page is visible

const TEXTS = {
	en: {
		running: 'Running since {since}', stopped: 'Not running', scanning: 'Looking for media …',
		files: '{audio} audio, {video} video, {images} pictures', clients: 'Clients: {clients}', error: 'Last error, {time}:',
	},
	de: {
		running: 'Läuft seit {since}', stopped: 'Läuft nicht', scanning: 'Sucht nach Medien …',
		files: 'Ton {audio}, Video {video}, Bilder {images}', clients: 'Geräte: {clients}', error: 'Letzter Fehler, {time}:',
	},
	ja: {
		running: '{since} から動作中', stopped: '停止しています', scanning: 'メディアを検索しています…',
		files: '音声 {audio}、動画 {video}、画像 {images}', clients: '機器：{clients}', error: '最後のエラー（{time}）：',
	},
};

const line = h('div.server-status', { role: 'group' });

const say = (key, values = {}) => TEXTS[currentLanguage()][key].replace(/\{(\w+)\}/g, (_, name) => values[name] ?? 0);

const time = (seconds) =>
	new Date(seconds * 1000).toLocaleString(currentLanguage(), { dateStyle: 'medium', timeStyle: 'short' });

function show({ running_since: since, last_error: error, ...state }) {
	const parts = since ? [say('running', { since: time(since) }), say('files', state), say('clients', state)] : [say('stopped')];
	if (state.scanning) parts.push(say('scanning'));
	line.replaceChildren(...parts.map((part) => h('span', {}, part)));
	if (error) line.append(h('span', {}, `${say('error', { time: time(error.time) })} `, foreign(error.text)));
	line.classList.toggle('stopped', !since);
	line.hidden = false;
}

// Nothing is shown where the file is missing, or is none.
async function look() {
	if (document.hidden) return;
	try {
		show(await (await fetch(pageUrl('status.json'))).json());
	} catch {
		line.hidden = true;
	}
}

document.head.append(h('link', { rel: 'stylesheet', href: 'status.css' }));
document.querySelector('.page-head').after(line);
document.addEventListener('visibilitychange', look);
document.getElementById('language').addEventListener('change', () => setTimeout(look, 500)); // once its texts are there
setInterval(look, PAUSE);
look();
