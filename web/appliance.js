// What no action tells: a file beside the page, which its integrator edits. What is missing or broken in it is left out.
import { currentLanguage, pageUrl } from './texts.js';

const isText = (value) => typeof value === 'string' && value !== '';

// name: the appliance's; languages: [{ code, name }]; menuStyles: [name]; unsupported: { field: reason }, where a
// reason is a text or an object with a text for each language of the page.
export const appliance = { name: '', languages: [], menuStyles: [], unsupported: {} };

export async function readAppliance() {
	let file;
	try {
		file = await (await fetch(pageUrl('appliance.json'))).json();
	} catch {
		return;
	}
	const listed = (member) => (Array.isArray(file?.[member]) ? file[member] : []);
	appliance.status = file?.status === true; // there is a status.js
	appliance.name = isText(file?.name) ? file.name : '';
	appliance.languages = listed('languages').filter((entry) => isText(entry?.code) && isText(entry?.name));
	appliance.menuStyles = listed('menu_styles').filter(isText);
	appliance.unsupported = file?.unsupported && typeof file.unsupported === 'object' ? file.unsupported : {};
}

// Why the daemon can't act on a setting, in the page's language; nothing when it can.
export function unsupportedReason(field) {
	if (!Object.hasOwn(appliance.unsupported, field)) return undefined;
	const reason = appliance.unsupported[field];
	return isText(reason) ? reason : reason?.[currentLanguage()] ?? reason?.en ?? '';
}
