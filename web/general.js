// The section "General": language and style of the menus, network interface, expiry of announcements.
import { appliance } from './appliance.js';
import { call } from './backend.js';
import { choice, number } from './fields.js';
import { settingsSection } from './settings_form.js';
import { externalText, h, nameOption } from './widgets.js';

const menuTexts = new Map(); // language -> the daemon's menu texts, loaded once

async function loadMenuTexts(lang) {
	if (!menuTexts.has(lang)) {
		const result = await call('getdmslangtext', { lang });
		if (!result.ok) return undefined;
		menuTexts.set(lang, result.answer.text?.mediaservice ?? {});
	}
	return menuTexts.get(lang);
}

// Adds to the choice of the language the texts that players show in the menus.
function addPreview(frame, { fields }) {
	const language = fields.get('language');
	const body = h('div');
	const preview = h('details.preview', {}, h('summary', 'general.preview'), body);
	let shownLanguage;

	async function show() {
		const lang = language.get();
		if (!preview.open || lang === shownLanguage) return;
		shownLanguage = lang;
		const texts = await loadMenuTexts(lang);
		if (lang !== shownLanguage) return; // another language was chosen in the meantime
		if (!texts) {
			shownLanguage = undefined;
			body.replaceChildren(h('p.help', 'errors.plain'));
			return;
		}
		const items = Object.values(texts).map((value) => h('li', {}, externalText(value)));
		body.replaceChildren(items.length > 0
			? h('ul.preview-texts', { lang: '' }, ...items)
			: h('p.help', 'general.no_preview'));
	}

	language.node.append(preview);
	preview.addEventListener('toggle', show);
	language.node.addEventListener('change', show);
}

export const general = settingsSection({
	name: 'general',
	load: 'load_general_page',
	save: 'save_general_page',
	restartFailureNumber: 435,
	rows: [
		{
			field: 'language',
			kind: choice,
			options: () => appliance.languages.map(({ code, name }) => h('option', { value: code }, name)),
			allowsOther: true,
			limit: 31,
			defaultValue: 'enu',
			failureNumbers: [406],
			keepIfAbsent: true,
		},
		{
			field: 'templatetype',
			kind: choice,
			options: () => appliance.menuStyles.map((name) => nameOption('menu_styles', name)),
			unlistedOption: (name) => nameOption('menu_styles', name),
			allowsOther: true,
			limit: 31,
			defaultValue: 'simple',
			failureNumbers: [417],
			keepIfAbsent: true,
		},
		{
			field: 'dmsInterface',
			group: 'general.network',
			kind: choice,
			options: ({ network }) => (network ?? []).map(({ value, display }) =>
				h('option', { value }, `${display} (${value})`)),
			unlistedOption: (value) => h('option', { value, text: ['general.interface_gone', { value }] }),
			limit: 31,
			defaultValue: 'eth0',
			failureNumbers: [426],
			keepIfAbsent: true,
		},
		{
			field: 'ssdp_advr',
			kind: number,
			unit: 'general.seconds',
			min: 5,
			limit: 15,
			defaultValue: '920',
			failureNumbers: [399],
			checkUnchanged: true,
		},
	],
	addToForm: addPreview,
});
