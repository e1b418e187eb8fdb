// The parts that every section is built from: elements, buttons, switches, cards. They insert text as text, never as
// markup. texts.js describes how a text is given.
import { hasText, setText } from './texts.js';

const SVG_NAMESPACE = 'http://www.w3.org/2000/svg';
const TEXT_ATTRIBUTES = { label: 'aria-label', placeholder: 'placeholder', title: 'title' };
let lastId = 0;

export const newId = (prefix) => `${prefix}-${(lastId += 1)}`;
export const byteLength = (value) => new TextEncoder().encode(value).length;

// Creates an element: h('p.help', 'logs.intro'). The selector is its tag and its classes. The second argument is its
// text or an object: `text`, `label` (aria-label), `placeholder` and `title` are texts, `on` contains listeners, and
// all other members are attributes, which are left out if false or undefined. Children are nodes or strings that are
// shown as they are; undefined ones are left out.
export function h(selector, options = {}, ...children) {
	const isText = typeof options === 'string' || Array.isArray(options);
	const { text, on = {}, ...attributes } = isText ? { text: options } : options;
	const [tag, ...classes] = selector.split('.');
	const element = document.createElement(tag);
	element.classList.add(...classes);
	if (text) setText(element, text);
	for (const [name, value] of Object.entries(attributes)) {
		if (value === undefined || value === false) continue;
		if (name in TEXT_ATTRIBUTES) setText(element, value, TEXT_ATTRIBUTES[name]);
		else element.setAttribute(name, value === true ? '' : value);
	}
	for (const [event, listener] of Object.entries(on)) element.addEventListener(event, listener);
	element.append(...children.filter((child) => child !== undefined));
	return element;
}

// Text that is not the page's: names, titles. It may run in either direction and may be of any length.
export const externalText = (value, tag = 'bdi') => h(tag, { class: 'external-text', dir: 'auto' }, String(value));

// An option for a name. The value is the name itself. Names that ship with the appliance are shown as the text
// SECTION.NAME, all others as they are.
export function nameOption(section, name) {
	const key = `${section}.${name}`;
	return hasText(key) ? h('option', { value: name, text: key }) : h('option', { value: name }, name);
}

export function icon(name) {
	const image = document.createElementNS(SVG_NAMESPACE, 'svg');
	const use = document.createElementNS(SVG_NAMESPACE, 'use');
	image.setAttribute('class', 'icon');
	image.setAttribute('aria-hidden', 'true');
	use.setAttribute('href', `#icon-${name}`);
	image.append(use);
	return image;
}

export function button(text, onClick, { kind = '', image, ...attributes } = {}) {
	return h('button', { type: 'button', class: `button ${kind}`, on: { click: onClick }, ...attributes },
		image && icon(image), h('span', text));
}

// A button that shows only an icon. Its label is its accessible name and its tooltip.
export function iconButton(image, label, onClick) {
	return h('button.button.icon-button', { type: 'button', label, title: label, on: { click: onClick } }, icon(image));
}

export function switchInput(attributes = {}) {
	return h('input.switch', { type: 'checkbox', role: 'switch', ...attributes });
}

// Calls `onSearch` with the text of the field after each key.
export function searchField(onSearch) {
	return h('div.search', {}, icon('search'), h('input', {
		type: 'search',
		label: 'common.search',
		placeholder: 'common.search',
		autocomplete: 'off',
		spellcheck: 'false',
		on: { input: (event) => onSearch(event.target.value) },
	}));
}

// Returns the help of what has this key, from the text KEY_help; undefined if there is none.
export function helpFor(key, id) {
	return hasText(`${key}_help`) ? h('p.help', { id, text: `${key}_help` }) : undefined;
}

// A card. The title may be undefined.
export function card(title, ...children) {
	if (!title) return h('section.card', {}, ...children);
	const id = newId('card');
	return h('section.card', { 'aria-labelledby': id }, h('h2', { id, text: title }), ...children);
}

// A line of a card with a heading, its help and a button.
export function taskRow(heading, taskButton) {
	return h('div.field', {}, h('div', {}, h('h3', heading), helpFor(heading)), taskButton);
}

// The error below some controls. `show` shows a text, or hides the error if there is none, and returns the text.
export function createError(id, controls) {
	const node = h('p.error', { id, hidden: true });
	const show = (text) => {
		node.hidden = !text;
		setText(node, text);
		for (const control of controls()) control.toggleAttribute('aria-invalid', Boolean(text));
		return text;
	};
	return { node, show };
}
