// Language, menu style, network interface and advertisement expiry.
import { appliance } from './appliance.js';
import { call } from './backend.js';
import { choice, number } from './fields.js';
import { settingsSection } from './settings_form.js';
import { foreign, h } from './widgets.js';

const previews = new Map(); // the daemon's texts by language, fetched once

async function languageTexts(lang) {
	if (!previews.has(lang)) {
		const result = await call('getdmslangtext', { lang });
		if (!result.ok) return undefined;
		previews.set(lang, result.answer.text?.mediaservice ?? {});
	}
	return previews.get(lang);
}

// Beside the language choice: what the players will show.
function addPreview(frame, { fields }) {
	const language = fields.get('language');
	const body = h('div');
	const node = h('details.preview', {}, h('summary', 'general.preview'), body);
	let latest;

	async function show() {
		const lang = language.get();
		if (!node.open || lang === latest) return;
		latest = lang;
		const texts = await languageTexts(lang);
		if (lang !== latest) return;
		if (!texts) latest = undefined;
		const entries = Object.entries(texts ?? {});
		body.replaceChildren(entries.length === 0
			? h('p.help', texts ? 'general.no_preview' : 'errors.plain')
			: h('ul.preview-texts', { lang: '' }, ...entries.map(([key, value]) => h('li', { 'data-key': key }, foreign(value)))));
	}
	language.node.append(node);
	node.addEventListener('toggle', show);
	language.node.addEventListener('change', show);
}

const withStored = (values, options) => (values ?? []).map(options);

export const general = settingsSection({
	name: 'general',
	load: 'load_general_page',
	save: 'save_general_page',
	restartLine: 435,
	rows: [
		{ field: 'language', kind: choice, limit: 31,
			options: () => withStored(appliance.languages, ({ code, name }) => ({ value: code, name })),
			other: true, lines: [406], keep: true },
		{ field: 'templatetype', kind: choice, limit: 31,
			options: () => withStored(appliance.menuStyles, (name) => ({ value: name, name })),
			other: true, lines: [417], keep: true },
		{ field: 'dmsInterface', kind: choice, limit: 31,
			options: ({ network }) => withStored(network, ({ value, display }) => ({ value, name: `${display} (${value})` })),
			strange: 'general.interface_gone', lines: [426], keep: true, group: 'general.network' },
		{ field: 'ssdp_advr', kind: number, unit: 'general.seconds',
			least: 5, limit: 15, judgeAlways: true, lines: [399] },
	],
	after: addPreview,
});
