// The page itself: which section is shown, its address, the way between them, the page's language.
import { appliance, readAppliance } from './appliance.js';
import { browsing } from './browsing.js';
import { clients } from './clients.js';
import { collections } from './collections.js';
import { createFrame } from './frame.js';
import { general } from './general.js';
import { logs } from './logs.js';
import { mediaAdapter } from './media_adapter.js';
import { menu } from './menu.js';
import { LANGUAGES, currentLanguage, rememberLanguage, setText, text, useLanguage } from './texts.js';
import { askToDiscard, h, icon } from './widgets.js';

const SECTIONS = [general, browsing, mediaAdapter, menu, clients, collections, logs];

const main = document.querySelector('main');
const navigation = document.querySelector('nav');
const menuButton = document.getElementById('menu-button');
let frame;
let shownSection;
let position = history.state?.position ?? 0; // in the browser's history, so that a way can be taken back

const sectionOfAddress = () => SECTIONS.find(({ name }) => `#${name}` === location.hash) ?? SECTIONS[0];

function tellSection() {
	document.title = [text(`${shownSection.name}.title`), text('page.title'), appliance.name].filter(Boolean).join(' – ');
	setText(menuButton.querySelector('span'), `${shownSection.name}.title`);
	for (const link of navigation.querySelectorAll('a')) {
		if (link.hash === `#${shownSection.name}`) link.setAttribute('aria-current', 'page');
		else link.removeAttribute('aria-current');
	}
}

function openMenu(open) {
	navigation.classList.toggle('open', open);
	menuButton.setAttribute('aria-expanded', String(open));
}

async function show(section) {
	const first = !shownSection;
	shownSection = section;
	frame = createFrame(section);
	main.replaceChildren(frame.node);
	tellSection();
	openMenu(false);
	window.scrollTo(0, 0);
	if (!first) frame.node.querySelector('h1').focus({ preventScroll: true });
	await section.open(frame);
	performance.mark(`section ${section.name}`);
}

// A section that is not left after all gets its address back.
async function followAddress() {
	const wanted = history.state?.position ?? position + 1;
	if (history.state?.position === undefined) history.replaceState({ position: wanted }, '');
	const section = sectionOfAddress();
	if (section === shownSection) {
		position = wanted;
		return;
	}
	if (frame.isChanged() && !(await askToDiscard())) {
		history.go(position - wanted);
		return;
	}
	position = wanted;
	await show(section);
}

function fillHeader() {
	document.getElementById('appliance').textContent = appliance.name;
	const select = document.getElementById('language');
	select.append(...Object.entries(LANGUAGES).map(([code, name]) => h('option', { value: code, lang: code }, name)));
	select.value = currentLanguage();
	select.addEventListener('change', async () => {
		rememberLanguage(select.value);
		await useLanguage(select.value);
		tellSection();
	});
	for (const element of document.querySelectorAll('[data-text]')) setText(element, element.dataset.text);
	for (const element of document.querySelectorAll('[data-label]')) setText(element, element.dataset.label, {}, 'aria-label');
	navigation.append(h('ul', {}, ...SECTIONS.map(({ name }) =>
		h('li', {}, h('a', { href: `#${name}` }, icon(name), h('span', { text: `${name}.title` }))))));
	menuButton.addEventListener('click', () => openMenu(!navigation.classList.contains('open')));
}

await Promise.all([useLanguage(), readAppliance()]);
fillHeader();
document.body.classList.add('ready');
history.replaceState({ position }, '');
window.addEventListener('popstate', followAddress);
window.addEventListener('beforeunload', (event) => frame.isChanged() && event.preventDefault());
if (appliance.status) import('./status.js');
await show(sectionOfAddress());
