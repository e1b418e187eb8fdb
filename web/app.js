// The page itself: loads texts and appliance.json, shows the section of the address, and asks before changes are lost.
import { appliance, loadAppliance } from './appliance.js';
import { browsing } from './browsing.js';
import { clients } from './clients.js';
import { collections } from './collections.js';
import { askToDiscard } from './dialogs.js';
import { createFrame } from './frame.js';
import { general } from './general.js';
import { logs } from './logs.js';
import { mediaAdapter } from './media_adapter.js';
import { menu } from './menu.js';
import {
	LANGUAGES, currentLanguage, onLanguage, rememberLanguage, setText, textOf, useLanguage,
} from './texts.js';
import { h, icon } from './widgets.js';

// A section: { name, open(frame) }. Its address is #NAME.
const SECTIONS = [general, browsing, mediaAdapter, menu, clients, collections, logs];

const main = document.querySelector('main');
const navigation = document.querySelector('nav');
const navigationButton = document.getElementById('navigation-button'); // on narrow screens only
const languageSelect = document.getElementById('language');
let frame;
let shownSection;
let position = history.state?.position ?? 0; // in the browser's history, so that the page can undo a step

const sectionOfAddress = () => SECTIONS.find(({ name }) => `#${name}` === location.hash) ?? SECTIONS[0];

function showDocumentTitle() {
	const parts = [textOf(`${shownSection.name}.title`), textOf('page.title'), appliance.name];
	document.title = parts.filter(Boolean).join(' – ');
}

function markSection() {
	showDocumentTitle();
	setText(navigationButton.querySelector('span'), `${shownSection.name}.title`);
	for (const link of navigation.querySelectorAll('a')) {
		if (link.hash === `#${shownSection.name}`) link.setAttribute('aria-current', 'page');
		else link.removeAttribute('aria-current');
	}
}

function openNavigation(open) {
	navigation.classList.toggle('open', open);
	navigationButton.setAttribute('aria-expanded', String(open));
}

async function show(section) {
	const isFirst = !shownSection;
	shownSection = section;
	frame = createFrame(section);
	main.replaceChildren(frame.node);
	markSection();
	openNavigation(false);
	window.scrollTo(0, 0);
	if (!isFirst) frame.node.querySelector('h1').focus({ preventScroll: true });
	await section.open(frame);
	performance.mark(`section ${section.name}`); // tests measure and wait for it
}

// If the user stays to keep changes, the section gets its address back.
async function followAddress() {
	const newPosition = history.state?.position ?? position + 1;
	if (history.state?.position === undefined) history.replaceState({ position: newPosition }, '');
	const section = sectionOfAddress();
	if (section === shownSection) {
		position = newPosition;
		return;
	}
	if (frame.isChanged() && !(await askToDiscard())) {
		history.go(position - newPosition);
		return;
	}
	position = newPosition;
	await show(section);
}

async function changeLanguage() {
	try {
		await useLanguage(languageSelect.value);
		rememberLanguage(languageSelect.value);
	} catch {
		languageSelect.value = currentLanguage();
		frame.showFailure('common.failed', { kind: 'connection' });
	}
}

function fillHeader() {
	document.getElementById('appliance').textContent = appliance.name;
	const options = Object.entries(LANGUAGES).map(([code, name]) => h('option', { value: code, lang: code }, name));
	languageSelect.append(...options);
	languageSelect.value = currentLanguage();
	languageSelect.addEventListener('change', changeLanguage);
	for (const element of document.querySelectorAll('[data-text]')) setText(element, element.dataset.text);
	for (const element of document.querySelectorAll('[data-label]')) {
		setText(element, element.dataset.label, 'aria-label');
	}
}

function fillNavigation() {
	const links = SECTIONS.map(({ name }) =>
		h('li', {}, h('a', { href: `#${name}` }, icon(name), h('span', `${name}.title`))));
	navigation.append(h('ul', {}, ...links));
	navigationButton.addEventListener('click', () => openNavigation(!navigation.classList.contains('open')));
}

await Promise.all([useLanguage(), loadAppliance()]);
fillHeader();
fillNavigation();
onLanguage(showDocumentTitle);
history.replaceState({ position }, '');
window.addEventListener('popstate', followAddress);
window.addEventListener('beforeunload', (event) => frame.isChanged() && event.preventDefault());
if (appliance.hasStatus) import('./status.js');
await show(sectionOfAddress());
