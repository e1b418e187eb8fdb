// The page's texts, in the language that its reader chose.
//
// A text has a key, "section.name", in a JSON file for each language. It is a string with {name} where a value is
// inserted, or an object with such a string for each plural form of the language; the value `count` selects the form.
//
// Everywhere in the page's code a text is given as its key, as [key, values], or as an object with a string for each
// language ({ en, de, ja }), which appliance.json may contain. An element remembers its text, so that another language
// changes the words on the page and nothing that was typed.
export const LANGUAGES = { en: 'English', de: 'Deutsch', ja: '日本語' };
const LANGUAGE_ITEM = 'mediaserv.language'; // in the browser's local storage
const FIRST_STRONG_ISOLATE = '\u2068'; // around a value, which may run from right to left
const POP_DIRECTIONAL_ISOLATE = '\u2069';
const DATE_FORMAT = { dateStyle: 'medium', timeStyle: 'short' };

const sources = ['texts/']; // beside the page; with the language and ".json" each is a file
const languageCallbacks = [];
const textsOfElements = new WeakMap(); // element -> { property: text }
let language = 'en';
let wantedLanguage = 'en'; // differs from `language` while its files are being loaded
let latestLoad = 0;
let sections = {};

// The URL of a file beside the page. The URL of the page may contain a login, which fetch rejects.
export const pageUrl = (path) => new URL(path, location.origin + location.pathname);

export const currentLanguage = () => language;

function preferredLanguage() {
	const tags = [localStorage.getItem(LANGUAGE_ITEM), ...navigator.languages];
	const codes = tags.map((tag) => tag?.split('-')[0].toLowerCase());
	return codes.find((code) => Object.hasOwn(LANGUAGES, code)) ?? 'en';
}

// A name may contain dots: it can be the name of a profile.
function lookUp(key) {
	const dot = key.indexOf('.');
	const section = sections[key.slice(0, dot)] ?? {};
	const name = key.slice(dot + 1);
	return Object.hasOwn(section, name) ? section[name] : undefined;
}

export const hasText = (key) => lookUp(key) !== undefined;

// A value is a number, a Date, a string, the text [key, values], a list of such texts, or a function that returns one
// of these in the current language.
function formatValue(value) {
	if (typeof value === 'function') return formatValue(value());
	if (typeof value === 'number') return value.toLocaleString(language);
	if (value instanceof Date) return value.toLocaleString(language, DATE_FORMAT);
	if (!Array.isArray(value)) return FIRST_STRONG_ISOLATE + value + POP_DIRECTIONAL_ISOLATE;
	if (!Array.isArray(value[0])) return textOf(value);
	return new Intl.ListFormat(language).format(value.map(textOf));
}

// Returns the words of a text. A key without a text is returned as it is.
export function textOf(text) {
	const [key, values = {}] = Array.isArray(text) ? text : [text];
	const found = typeof key === 'string' ? (lookUp(key) ?? key) : (key[language] ?? key.en ?? '');
	const words = typeof found === 'string' ? found : found[new Intl.PluralRules(language).select(values.count)];
	return words.replace(/\{(\w+)\}/g, (placeholder, name) =>
		Object.hasOwn(values, name) ? formatValue(values[name] ?? '') : placeholder);
}

function showTexts(element) {
	for (const [property, text] of Object.entries(textsOfElements.get(element))) {
		if (property === 'textContent') element.textContent = textOf(text);
		else element.setAttribute(property, textOf(text));
	}
}

// Gives an element its text, or an attribute that is a text. Without a text both become empty.
export function setText(element, text, property = 'textContent') {
	const texts = { ...textsOfElements.get(element), [property]: text };
	if (!text) {
		delete texts[property];
		if (property === 'textContent') element.textContent = '';
		else element.removeAttribute(property);
	}
	textsOfElements.set(element, texts);
	element.toggleAttribute('data-has-texts', Object.keys(texts).length > 0);
	showTexts(element);
}

async function loadTexts(source, code) {
	const response = await fetch(pageUrl(`${source}${code}.json`));
	return response.json();
}

// Shows the page in a language. Rejects if its texts can't be loaded; the page then keeps its language.
export async function useLanguage(code = preferredLanguage()) {
	wantedLanguage = code;
	const thisLoad = (latestLoad += 1);
	const loaded = await Promise.all(sources.map((source) => loadTexts(source, code)));
	if (thisLoad !== latestLoad) return; // another language was chosen in the meantime
	sections = Object.assign({}, ...loaded);
	language = code;
	document.documentElement.lang = code;
	document.querySelectorAll('[data-has-texts]').forEach(showTexts);
	for (const callback of languageCallbacks) callback();
}

export const rememberLanguage = (code) => localStorage.setItem(LANGUAGE_ITEM, code);

// Adds the texts of the files SOURCE + language + ".json" beside the page, in this and in every later language.
export async function addTexts(source) {
	sources.push(source);
	await useLanguage(wantedLanguage);
}

// Calls the function after each change of the language, once every element has its new words.
export const onLanguage = (callback) => languageCallbacks.push(callback);
