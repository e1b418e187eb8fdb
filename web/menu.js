// The templates that arrange the daemon's menus, as the XML that they are.
import { appliance } from './appliance.js';
import { call } from './backend.js';
import { createSaveBar } from './frame.js';
import { setText } from './texts.js';
import { ask, askToDiscard, button, byteLength, card, h, switchInput } from './widgets.js';
import { xmlError } from './xml.js';

const NAME_LIMIT = 246; // bytes: a file's name has 255, of which the program takes menu_ and .xml
const NO_UTF8 = { encoding: ['menu.no_utf8'] };

// The text of a file, or nothing when it is no UTF-8. A byte order mark stays.
function decoded(bytes) {
  try {
    return new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
  } catch {
    return undefined;
  }
}

function wrongName(name) {
  if (name === '') return ['common.empty'];
  if (/[/\p{Cc}]/u.test(name)) return ['menu.wrong_name'];
  if (byteLength(name) > NAME_LIMIT) return ['common.too_long', { used: byteLength(name), limit: NAME_LIMIT }];
  return undefined;
}

// A text area that takes the tab key; Escape gives it back to the way through the page. Line ends stay as they were.
function createEditor(id) {
  const area = h('textarea', { id, class: 'code', rows: '20', spellcheck: 'false', autocapitalize: 'off', wrap: 'off',
    'aria-describedby': `${id}-help ${id}-error` });
  let tabs = true;
  let lineEnd = '\n';
  area.addEventListener('keydown', (event) => {
    if (event.key === 'Escape') tabs = false;
    if (event.key !== 'Tab' || event.shiftKey || !tabs) return;
    event.preventDefault();
    document.execCommand('insertText', false, '\t'); // the one way that the browser can undo
  });
  area.addEventListener('blur', () => (tabs = true));
  return {
    area,
    get: () => area.value.replaceAll('\n', lineEnd),
    set(text) {
      lineEnd = text.includes('\r\n') ? '\r\n' : '\n';
      area.value = text;
      area.setSelectionRange(0, 0);
    },
    goTo({ line, column }) {
      const before = area.value.split('\n').slice(0, line - 1).reduce((sum, one) => sum + one.length + 1, 0);
      const at = Math.min(before + column - 1, area.value.length);
      area.focus();
      area.setSelectionRange(at, at);
    },
  };
}

async function open(frame) {
  const choices = h('datalist', { id: 'menu-names' }, ...appliance.menuStyles.map((value) => h('option', { value })));
  const name = h('input', { id: 'menu-name', list: choices.id, autocomplete: 'off', spellcheck: 'false',
    'aria-describedby': 'menu-name-error' });
  const nameError = h('p', { class: 'error', id: 'menu-name-error', hidden: true });
  const editor = createEditor('menu-text');
  const textError = h('p', { class: 'error', id: 'menu-text-error', hidden: true });
  const state = h('p', { class: 'help', role: 'status' });
  const restart = switchInput({ id: 'menu-restart' });
  const file = h('input', { type: 'file', accept: '.xml,text/xml,application/xml', hidden: true, label: 'menu.open_file' });
  let stored = { name: '', text: '' };
  let failedPlace;

  const textChanged = () => editor.get() !== stored.text;
  const mayReplace = async () => !textChanged() || askToDiscard();

  function mark(element, input, error) {
    element.hidden = !error;
    input.toggleAttribute('aria-invalid', Boolean(error));
    setText(element, ...(error ?? []));
    return error;
  }
  const nameIsWrong = () => mark(nameError, name, wrongName(name.value));

  function textIsWrong() {
    failedPlace = xmlError(editor.get());
    return mark(textError, editor.area, failedPlace && ['menu.not_well_formed', failedPlace]);
  }

  function show(text, told) {
    stored = { name: name.value, text };
    editor.set(text);
    stored.text = editor.get();
    mark(textError, editor.area);
    setText(state, ...told);
    bar.say(undefined);
  }

  // A template that isn't there is a new one, not a failure.
  async function load() {
    if (nameIsWrong()) return name.focus();
    if (!(await mayReplace())) return undefined;
    return bar.during('common.loading', async () => {
      const result = await call('loadmenu', { template: name.value });
      const text = result.ok ? decoded(result.bytes) : '';
      if (!result.ok && result.failure.kind !== 'plain') frame.fail('common.failed', result.failure);
      else if (text === undefined) frame.fail('common.failed', { kind: 'encoding' }, NO_UTF8);
      else show(text, [result.ok ? 'menu.loaded' : 'menu.new', { name: name.value }]);
    });
  }

  async function openFile() {
    const [chosen] = file.files;
    file.value = '';
    if (!chosen || !(await mayReplace())) return;
    const text = decoded(await chosen.arrayBuffer());
    if (text === undefined) {
      frame.fail('common.failed', { kind: 'encoding' }, NO_UTF8);
      return;
    }
    editor.set(text);
    textIsWrong();
    setText(state, 'menu.from_file', { file: chosen.name });
    editor.area.dispatchEvent(new Event('input', { bubbles: true }));
  }

  function saveToFile() {
    const link = h('a', { download: `menu_${name.value}.xml` });
    link.href = URL.createObjectURL(new Blob([editor.get()], { type: 'application/xml' }));
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
  }

  const isStored = async (template, content) => {
    const result = await call('loadmenu', { template });
    return result.ok && decoded(result.bytes) === content;
  };

  // Another template's name may be one that exists already.
  async function mayOverwrite(template) {
    if (template === stored.name || !(await call('loadmenu', { template })).ok) return true;
    return ask({ title: ['menu.overwrite', { name: template }], body: 'menu.overwrite_body', yes: 'common.replace' });
  }

  const bar = createSaveBar(frame, {
    changed: () => textChanged() || name.value !== stored.name,
    wrong() {
      if (nameIsWrong()) return name;
      return textIsWrong() && { focus: () => editor.goTo(failedPlace) };
    },
    progress: () => (restart.checked ? ['form.restarting', { settings: [['menu.template', {}]] }] : 'form.saving'),
    async save() {
      const [template, content, restarts] = [name.value, editor.get(), restart.checked];
      if (!(await mayOverwrite(template))) return undefined;
      const result = await call('savemenu', { template, content, restartserver: String(restarts) });
      const saved = result.ok || (restarts && result.failure.kind === 'plain' && (await isStored(template, content)));
      if (saved) {
        stored = { name: template, text: content };
        setText(state, 'menu.loaded', { name: template });
      }
      if (result.ok) return restarts ? 'form.saved_restarted' : 'form.saved';
      frame.fail('common.save_failed', result.failure, saved ? { plain: ['menu.not_restarted', 'errors.restart_do'] } : {});
      return saved ? 'form.saved' : undefined;
    },
    discard() {
      name.value = stored.name;
      show(stored.text, ['menu.loaded', { name: stored.name }]);
    },
  });
  frame.isChanged = textChanged;

  name.addEventListener('keydown', (event) => event.key === 'Enter' && load());
  name.addEventListener('input', () => nameError.hidden || nameIsWrong());
  editor.area.addEventListener('input', () => textError.hidden || textIsWrong());
  file.addEventListener('change', openFile);
  frame.body.replaceChildren(card(undefined,
    h('div', { class: 'template-name' }, h('label', { for: name.id, text: 'menu.template' }), name, choices,
      button('common.load', load)), nameError,
    h('div', { class: 'editor-head' }, h('label', { for: 'menu-text', text: 'menu.text' }), state,
      button('menu.open_file', () => file.click(), { kind: 'small', image: 'upload' }), file,
      button('menu.save_file', saveToFile, { kind: 'small', image: 'download' })),
    editor.area, textError, h('p', { class: 'help', id: 'menu-text-help', text: 'menu.text_help' }),
    h('div', { class: 'field' }, h('label', { for: restart.id, text: 'menu.restart' }), restart)), bar.node);
  [name.value = ''] = appliance.menuStyles;
  if (name.value) await load();
}

export const menu = { name: 'menu', open };
