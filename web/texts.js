// The page's texts: a JSON file for each language, {name} where a value goes. An element keeps the key of its text, so
// that another language changes the words on the page and nothing that was typed.
export const LANGUAGES = { en: 'English', de: 'Deutsch', ja: '日本語' };
const STORED = 'mediaserv.language';
const ISOLATE = ['\u2068', '\u2069']; // a value may run from right to left

const bound = new WeakMap();
let language = 'en';
let texts = {};

// An address beside the page. Taken from the origin, since the page's own may hold a login, which fetch refuses.
export const pageUrl = (path) => new URL(path, location.origin + location.pathname);

export const currentLanguage = () => language;

function preferredLanguage() {
	const wished = [localStorage.getItem(STORED), ...navigator.languages].map((tag) => tag?.split('-')[0].toLowerCase());
	return wished.find((tag) => Object.hasOwn(LANGUAGES, tag)) ?? 'en';
}

// A value is a number, a text, a [key, values] of another text, or a list of such texts.
function formatted(value) {
	if (typeof value === 'number') return value.toLocaleString(language);
	if (!Array.isArray(value)) return ISOLATE.join(value);
	if (!Array.isArray(value[0])) return text(...value);
	return new Intl.ListFormat(language).format(value.map((one) => text(...one)));
}

function lookUp(key) {
	const [section, name] = key.split('.');
	return texts[section]?.[name];
}

export const hasText = (key) => lookUp(key) !== undefined;

export function text(key, values = {}) {
	return (lookUp(key) ?? key).replace(/\{(\w+)\}/g, (_, value) => formatted(values[value] ?? ''));
}

function apply(element) {
	for (const [property, [key, values]] of Object.entries(bound.get(element))) {
		if (property === 'text') element.textContent = text(key, values);
		else element.setAttribute(property, text(key, values));
	}
}

// Gives an element a text, or an attribute of that name. No key: the text is taken away.
export function setText(element, key, values, property = 'text') {
	const all = { ...bound.get(element), [property]: [key, values] };
	if (!key) {
		delete all[property];
		if (property === 'text') element.textContent = '';
		else element.removeAttribute(property);
	}
	bound.set(element, all);
	element.toggleAttribute('data-texts', Object.keys(all).length > 0);
	apply(element);
}

export async function useLanguage(wanted = preferredLanguage()) {
	texts = await (await fetch(pageUrl(`texts/${wanted}.json`))).json();
	language = wanted;
	document.documentElement.lang = wanted;
	document.querySelectorAll('[data-texts]').forEach(apply);
}

export const rememberLanguage = (wanted) => localStorage.setItem(STORED, wanted);
