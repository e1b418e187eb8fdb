// What every section is made of: elements, buttons, switches, questions. Text goes in as text, by its key or as a node.
import { hasText, setText } from './texts.js';

const SVG = 'http://www.w3.org/2000/svg';
const ATTRIBUTE_TEXTS = { label: 'aria-label', placeholder: 'placeholder', title: 'title' };
let identifiers = 0;

export const newId = (stem) => `${stem}-${(identifiers += 1)}`;
const keyAndValues = (value) => (Array.isArray(value) ? value : [value, {}]);
export const byteLength = (value) => new TextEncoder().encode(value).length;

// An element, by its tag and classes: h('p.help', 'logs.intro'). What follows is its text, a key or [key, values], or an
// object: `text`, `label`, `placeholder` and `title` are such texts, `on` holds listeners, all else are attributes, left
// out when false or undefined. Children are nodes or texts of others, undefined for none.
export function h(selector, what = {}, ...children) {
	const { text, on = {}, ...attributes } = typeof what === 'string' || Array.isArray(what) ? { text: what } : what;
	const [tag, ...classes] = selector.split('.');
	const element = document.createElement(tag);
	element.classList.add(...classes);
	if (text) setText(element, ...keyAndValues(text));
	for (const [name, value] of Object.entries(attributes)) {
		if (value === undefined || value === false) continue;
		if (name in ATTRIBUTE_TEXTS) setText(element, ...keyAndValues(value), ATTRIBUTE_TEXTS[name]);
		else element.setAttribute(name, value === true ? '' : value);
	}
	for (const [event, listener] of Object.entries(on)) element.addEventListener(event, listener);
	element.append(...children.filter((child) => child !== undefined));
	return element;
}

// A text of others: names, titles. It may run in either direction and be of any length.
export const foreign = (value, tag = 'bdi') => h(tag, { class: 'foreign', dir: 'auto' }, String(value));

export function icon(name) {
	const image = document.createElementNS(SVG, 'svg');
	const use = document.createElementNS(SVG, 'use');
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

// A button that shows its picture alone; its text is its name.
export function iconButton(image, label, onClick) {
	return h('button', { type: 'button', class: 'button icon-button', label, title: label, on: { click: onClick } },
		icon(image));
}

export function switchInput(attributes = {}) {
	return h('input', { type: 'checkbox', role: 'switch', class: 'switch', ...attributes });
}

export function searchField(onInput) {
	return h('div.search', {}, icon('search'),
		h('input', { type: 'search', label: 'common.search', placeholder: 'common.search', autocomplete: 'off', spellcheck: 'false',
			on: { input: (event) => onInput(event.target.value) } }));
}

export function card(title, ...children) {
	const id = newId('card');
	return h('section.card', { 'aria-labelledby': title && id }, title && h('h2', { id, text: title }),
		...children);
}

// What a text means, where there is more to say.
export const helpOf = (text, id) => (hasText(`${text}_help`) ? h('p.help', { id, text: `${text}_help` }) : undefined);

// A line of a card with something to do; its text's help stands below it.
export const task = (text, control) => h('div.field', {},
	h('div.field-text', {}, h('h3', text), helpOf(text)), control);

// What is wrong with some controls, in words below them; `show` takes a text or nothing, and gives it back.
export function createError(id, controls) {
	const node = h('p.error', { id, hidden: true });
	const show = (wrong) => {
		node.hidden = !wrong;
		setText(node, ...(wrong ?? []));
		for (const one of controls()) one.toggleAttribute('aria-invalid', Boolean(wrong));
		return wrong;
	};
	return { node, show };
}

// Asks before something is lost; true when the answer is yes. The harmless answer is the one at hand.
export function ask({ title, body, yes }) {
	const id = newId('question');
	const dialog = h('dialog', { 'aria-labelledby': id, 'aria-describedby': `${id}-body` },
		h('h2', { id, text: title }), body && h('p', { id: `${id}-body`, text: body }),
		h('div.buttons', {},
			button('common.cancel', () => dialog.close(), { autofocus: true }),
			button(yes, () => dialog.close('yes'), { kind: 'danger' })));
	document.body.append(dialog);
	dialog.showModal();
	return new Promise((resolve) => {
		dialog.addEventListener('close', () => {
			dialog.remove();
			resolve(dialog.returnValue === 'yes');
		});
	});
}

export const askToDiscard = () =>
	ask({ title: 'common.leave', body: 'common.leave_body', yes: 'common.discard' });
