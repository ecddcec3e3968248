// SPDX-License-Identifier: Apache-2.0
// Puts the page together: what is chosen shows everywhere, and everything can be done by keyboard.

import { byId, counted, durationText, element } from './words.mjs';
import { kindOf, parseEntries, readEntries, readHead, select } from './model.mjs';
import { EntryList } from './list.mjs';
import { TimeAxis } from './lanes.mjs';
import { showDetail } from './detail.mjs';

/** @typedef {import('./model.mjs').Entry} Entry */

let head = readHead();
let all = readEntries();
const parts = /** @type {const} */ (['card', 'network', 'server', 'service', 'waiting']);

const detail = byId('detail', HTMLElement);
const frame = byId('list', HTMLElement);
const form = byId('filters', HTMLFormElement);
const axis = new TimeAxis(byId('axis', HTMLCanvasElement), byId('window', HTMLElement), (entry) => showEntry(entry.id));
const list = new EntryList(frame, byId('rows', HTMLElement), (entry) => {
  showDetail(detail, entry);
  axis.choose(entry);
  history.replaceState(null, '', `#e${entry.id}`);
});

/** @param {number} id */
function showEntry(id) {
  if (!list.chooseId(id) && all.some((entry) => entry.id === id)) {
    form.reset(); // a link counts more than a filter
    filter();
    list.chooseId(id);
  }
}

function showHead() {
  const { totals } = head;
  const failures = totals.failures === 0 ? 'nothing failed' : `${totals.failures} failed`;
  byId('summary', HTMLElement).textContent = [
    counted(totals.apdus, 'APDU', 'APDUs'),
    counted(totals.messages, 'message', 'messages'),
    counted(totals.jobs, 'job', 'jobs'),
    failures,
  ].join(' · ');
  const mask = byId('mask', HTMLElement);
  mask.textContent = head.masked ? 'secrets masked' : 'not masked: this page holds secrets';
  mask.classList.toggle('open', !head.masked);
  byId('first', HTMLButtonElement).hidden = head.first === null;
}

function showStrip() {
  const sum = Math.max(1, parts.reduce((total, part) => total + head.totals[part], 0));
  const strip = byId('strip', HTMLElement);
  const words = [];
  strip.replaceChildren();
  byId('legend', HTMLElement).replaceChildren();
  for (const part of parts) {
    const share = head.totals[part] / sum;
    const bar = element('span', `of-${part}`);
    bar.style.flex = `${share} 0 0`;
    strip.append(bar);
    const text = `${durationText(head.totals[part])} (${Math.round(100 * share)} %)`;
    words.push(`${part} ${text}`);
    byId('legend', HTMLElement).append(
      element('li', '', element('i', `of-${part}`), `${part} `, element('b', '', text)),
    );
  }
  strip.setAttribute('aria-label', words.join(', '));
}

function showInputs() {
  const inputs = byId('inputs', HTMLDetailsElement);
  const lines = inputs.querySelector('ul');
  const wrong = head.problems.length;
  const summary = inputs.querySelector('summary');
  if (lines === null || summary === null) {
    return;
  }
  summary.textContent = counted(head.sources.length, 'input', 'inputs');
  if (wrong > 0) {
    summary.append(', ', element('strong', 'wrong', counted(wrong, 'problem', 'problems')));
    inputs.open = true;
  }
  lines.replaceChildren();
  for (const source of head.sources) {
    const shift = source.clockShift === 0 ? '' : `, clock set by ${(source.clockShift / 1e6).toFixed(3)} s`;
    const joined = head.sources.length > 1 ? `, ${source.joined} also in another input` : '';
    const end = source.cut ? ', ends in the middle of a line' : '';
    lines.append(element('li', '', `${source.file}: ${source.form}, ${counted(source.entries, 'entry', 'entries')}${joined}${shift}${end}`));
  }
  for (const problem of head.problems) {
    const line = problem.line === 0 ? '' : `:${problem.line}`;
    lines.append(element('li', 'wrong', `${problem.file}${line}: ${problem.text}`));
  }
}

/**
 * @param {string} id
 * @param {(entry: Entry) => string} value
 */
function offer(id, value) {
  const place = byId(id, HTMLSelectElement);
  const chosen = place.value;
  place.replaceChildren(...[...place.children].slice(0, 1)); // which stands for all of them
  const offered = new Set(all.map(value).filter((text) => text !== '' && text.length < 60));
  for (const text of [...offered].sort()) {
    place.append(element('option', '', text));
  }
  place.value = chosen;
}

function filter() {
  const chosen = list.entries[list.chosen]?.id;
  const entries = select(all, {
    text: byId('search', HTMLInputElement).value.trim().toLowerCase(),
    title: byId('by-title', HTMLSelectElement).value,
    outcome: byId('by-outcome', HTMLSelectElement).value,
    lane: byId('by-lane', HTMLSelectElement).value,
    state: byId('by-state', HTMLSelectElement).value,
    slower: 1000 * Number(byId('slower', HTMLInputElement).value || 0),
  });
  list.show(entries);
  axis.show(entries);
  byId('shown', HTMLElement).textContent =
    entries.length === all.length ? counted(all.length, 'entry', 'entries') : `${entries.length} of ${all.length}`;
  if (entries.length === 0) {
    detail.replaceChildren(element('p', 'empty', all.length === 0 ? 'The inputs hold nothing of a session.' : 'No entry is like that.'));
    frame.removeAttribute('aria-activedescendant');
  } else if (chosen === undefined || !list.chooseId(chosen)) {
    list.choose(0);
  }
}

/** @param {boolean} isCompressed */
function compress(isCompressed) {
  byId('to-scale', HTMLElement).setAttribute('aria-pressed', String(!isCompressed));
  byId('compressed', HTMLElement).setAttribute('aria-pressed', String(isCompressed));
  axis.compress(isCompressed);
}

function changeTheme() {
  const root = document.documentElement;
  const isDark = root.dataset['theme'] === 'dark' || (root.dataset['theme'] === undefined && matchMedia('(prefers-color-scheme: dark)').matches);
  root.dataset['theme'] = isDark ? 'light' : 'dark';
  axis.draw();
}

/** @type {Record<string, () => void>} */
const keysOfList = {
  ArrowDown: () => list.choose(list.chosen + 1),
  ArrowUp: () => list.choose(list.chosen - 1),
  PageDown: () => list.choose(list.chosen + list.pageSize()),
  PageUp: () => list.choose(list.chosen - list.pageSize()),
  Home: () => list.choose(0),
  End: () => list.choose(list.entries.length),
  Enter: () => detail.focus(),
};

/** @type {Record<string, () => void>} */
const keysOfPage = {
  n: () => list.chooseFailure(1),
  p: () => list.chooseFailure(-1),
  f: () => head.first !== null && showEntry(head.first),
  s: () => compress(!axis.isCompressed),
  '+': () => axis.magnify(2),
  '-': () => axis.magnify(0.5),
  '/': () => byId('search', HTMLInputElement).focus(),
  '?': () => byId('help', HTMLDialogElement).showModal(),
  Escape: () => frame.focus(),
};

/** @param {KeyboardEvent} event */
function onKey(event) {
  const isTyping = event.target instanceof HTMLInputElement || event.target instanceof HTMLSelectElement;
  if (event.ctrlKey || event.metaKey || event.altKey || (isTyping && event.key !== 'Escape')) {
    return;
  }
  if (byId('help', HTMLDialogElement).open) {
    return;
  }
  const action = (event.target === frame ? keysOfList[event.key] : undefined) ?? keysOfPage[event.key];
  if (action !== undefined) {
    event.preventDefault();
    action();
  }
}

/** The entry that the address names, else the first that went wrong. */
function wantedEntry() {
  const id = /^#e(\d+)$/.exec(location.hash);
  return id !== null ? Number(id[1]) : head.first ?? all[0]?.id ?? 0;
}

function listen() {
  document.addEventListener('keydown', onKey);
  form.addEventListener('input', filter);
  form.addEventListener('reset', () => setTimeout(filter));
  form.addEventListener('submit', (event) => event.preventDefault());
  byId('to-scale', HTMLElement).addEventListener('click', () => compress(false));
  byId('compressed', HTMLElement).addEventListener('click', () => compress(true));
  byId('zoom-in', HTMLElement).addEventListener('click', () => axis.magnify(2));
  byId('zoom-out', HTMLElement).addEventListener('click', () => axis.magnify(0.5));
  byId('theme', HTMLElement).addEventListener('click', changeTheme);
  byId('help-open', HTMLElement).addEventListener('click', () => byId('help', HTMLDialogElement).showModal());
  byId('first', HTMLElement).addEventListener('click', () => keysOfPage['f']?.());
  window.addEventListener('hashchange', () => showEntry(wantedEntry()));
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => axis.draw());
}

function showAll() {
  showHead();
  showStrip();
  showInputs();
  offer('by-title', kindOf);
  offer('by-outcome', (entry) => entry.outcome ?? '');
}

/** Takes over what has been recorded since, and stays where it is. */
async function takeMore() {
  const answer = await fetch('/story', { cache: 'no-store' });
  if (!answer.ok) {
    return;
  }
  const lines = (await answer.text()).trimEnd().split('\n');
  head = JSON.parse(lines[0] ?? '{}');
  all = parseEntries(lines.slice(1));
  showAll();
  filter();
}

showAll();
const wanted = wantedEntry(); // before anything is chosen, which changes the address
filter();
showEntry(wanted);
listen();
frame.focus({ preventScroll: true });
if (document.documentElement.dataset['live'] === 'yes') {
  new EventSource('/changes').addEventListener('message', () => void takeMore());
}
