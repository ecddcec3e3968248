// SPDX-License-Identifier: Apache-2.0
// What the page shows, as the program wrote it, and which of it is wanted.

/**
 * @typedef {[depth: number, name: string, value: string, meaning: string]} Row
 * @typedef {{ name: string, rows: Row[] }} Section
 * @typedef {{ kind: string, code: string, meaning: string, lookAt: string }} Cause
 * @typedef {{ id: number, kind: string, state: string, from: string, to: string, title: string,
 *   sections: Section[], origins: string[], time?: number, at?: string, estimated?: boolean, duration?: number,
 *   received?: number, worked?: number, job?: number, process?: number, set?: number, ordinal?: number,
 *   outcome?: string, meaning?: string, action?: string, session?: string, failure?: string, causes?: Cause[],
 *   command?: string, response?: string, faults?: string[] }} Entry
 * @typedef {{ file: string, form: string, lines: number, entries: number, joined: number, clockShift: number,
 *   cut: boolean }} Source
 * @typedef {{ file: string, line: number, text: string }} Problem
 * @typedef {{ card: number, network: number, server: number, service: number, waiting: number, apdus: number,
 *   messages: number, jobs: number, failures: number }} Totals
 * @typedef {{ masked: boolean, sources: Source[], problems: Problem[], totals: Totals,
 *   first: number | null }} Head
 * @typedef {{ text: string, title: string, outcome: string, lane: string, state: string,
 *   slower: number }} Wanted
 */

/** @type {Map<number, string>} */
const searchable = new Map();

/** @returns {Head} */
export function readHead() {
  return JSON.parse(document.getElementById('head-data')?.textContent ?? '{}');
}

/**
 * @param {string[]} lines one entry each
 * @returns {Entry[]}
 */
export function parseEntries(lines) {
  searchable.clear();
  return JSON.parse(`[${lines.join(',')}]`);
}

/** @returns {Entry[]} */
export function readEntries() {
  const text = (document.getElementById('entry-data')?.textContent ?? '').trimEnd();
  return parseEntries(text === '' ? [] : text.split('\n'));
}

/**
 * The instruction, or the message's name: what comes before its parameters.
 * @param {Entry} entry
 * @returns {string}
 */
export function kindOf(entry) {
  return entry.kind === 'note' ? 'note' : entry.title.split(/,| for /)[0] ?? '';
}

/**
 * @param {Entry} entry
 * @returns {string}
 */
function searchText(entry) {
  let text = searchable.get(entry.id);
  if (text === undefined) {
    const rows = entry.sections.flatMap((section) => section.rows.map((row) => row.slice(1).join(' ')));
    const facts = [entry.title, entry.outcome, entry.meaning, entry.failure, entry.action, entry.session];
    text = [...facts, entry.command, entry.response, ...entry.origins, ...rows].join('\n').toLowerCase();
    searchable.set(entry.id, text);
  }
  return text;
}

/**
 * @param {Entry} entry
 * @param {Wanted} wanted
 * @returns {boolean}
 */
function isWanted(entry, wanted) {
  const hasState =
    wanted.state === '' || entry.state === 'failed' || (wanted.state === 'noted' && entry.state === 'noted');
  const hasLane = wanted.lane === '' || entry.from === wanted.lane || entry.to === wanted.lane;
  return (
    hasState &&
    hasLane &&
    (wanted.title === '' || kindOf(entry) === wanted.title) &&
    (wanted.outcome === '' || entry.outcome === wanted.outcome) &&
    (wanted.slower <= 0 || (entry.duration ?? 0) > wanted.slower) &&
    (wanted.text === '' || searchText(entry).includes(wanted.text))
  );
}

/**
 * @param {Entry[]} entries
 * @param {Wanted} wanted
 * @returns {Entry[]}
 */
export function select(entries, wanted) {
  return entries.filter((entry) => isWanted(entry, wanted));
}
