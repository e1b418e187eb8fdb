// What the page knows about the appliance besides the program's answers: appliance.json beside the page, which the
// integrator of the appliance edits. docs/deploying.md describes it. Missing and malformed members are ignored.
import { pageUrl } from './texts.js';

const isText = (value) => typeof value === 'string' && value !== '';
const arrayOf = (value) => (Array.isArray(value) ? value : []);
const objectOf = (value) => (value !== null && typeof value === 'object' ? value : {});

export const appliance = {
	name: '',
	languages: [], // { code, name }
	menuStyles: [], // names
	hasStatus: false, // whether there is a status.js to load
	unsupported: {}, // field of a setting: reason, as an object with a text for each language
};

// A reason is the name of one of `reasons`, a text, or an object with a text for each language.
function reasonTexts(reason, reasons) {
	const named = isText(reason) && Object.hasOwn(reasons, reason) ? reasons[reason] : reason;
	if (isText(named)) return { en: named };
	return Object.fromEntries(Object.entries(objectOf(named)).filter(([, text]) => isText(text)));
}

export async function loadAppliance() {
	let file;
	try {
		const response = await fetch(pageUrl('appliance.json'));
		file = objectOf(await response.json());
	} catch {
		return;
	}
	const reasons = objectOf(file.reasons);
	appliance.name = isText(file.name) ? file.name : '';
	appliance.languages = arrayOf(file.languages).filter((entry) => isText(entry?.code) && isText(entry?.name));
	appliance.menuStyles = arrayOf(file.menu_styles).filter(isText);
	appliance.hasStatus = file.status === true;
	appliance.unsupported = Object.fromEntries(Object.entries(objectOf(file.unsupported))
		.map(([field, reason]) => [field, reasonTexts(reason, reasons)]));
}

// Returns why the media server can't act on a setting, as a text; undefined if it can.
export function unsupportedReason(field) {
	return Object.hasOwn(appliance.unsupported, field) ? appliance.unsupported[field] : undefined;
}
