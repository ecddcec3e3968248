// SPDX-License-Identifier: Apache-2.0
// One entry with all that is known of it.

import { durationText, element } from './words.mjs';

/** @typedef {import('./model.mjs').Entry} Entry */
/** @typedef {import('./model.mjs').Section} Section */

const deepest = 5; // that has an indentation of its own

/**
 * @param {Section} section
 * @returns {HTMLElement[]}
 */
function tableOf(section) {
  const body = element('tbody', '');
  for (const [depth, name, value, meaning] of section.rows) {
    const row = element('tr', '');
    const head = element('td', `d${Math.min(depth, deepest)}`, name);
    row.append(head, element('td', '', value), element('td', '', meaning));
    body.append(row);
  }
  return [element('h3', '', section.name), element('table', '', body)];
}

/**
 * @param {Entry} entry
 * @returns {HTMLElement[]}
 */
function failureOf(entry) {
  if (entry.failure === undefined && entry.causes === undefined) {
    return [];
  }
  const box = element('div', entry.state === 'failed' ? 'failure' : 'remark');
  if (entry.failure !== undefined) {
    box.append(element('p', '', element('strong', '', entry.failure)));
  }
  for (const cause of entry.causes ?? []) {
    box.append(element('p', '', element('code', '', cause.code), ` ${cause.kind}: ${cause.meaning}`));
    if (cause.lookAt !== '') {
      box.append(element('p', '', `Look at: ${cause.lookAt}`));
    }
  }
  for (const fault of entry.faults ?? []) {
    box.append(element('p', '', 'A fault was ordered of the server: ', element('code', '', fault)));
  }
  return [box];
}

/**
 * @param {Entry} entry
 * @returns {HTMLElement}
 */
function factsOf(entry) {
  const facts = element('dl', 'facts');
  /**
   * @param {string} name
   * @param {string | undefined} value
   */
  const add = (name, value) => {
    if (value !== undefined && value !== '') {
      facts.append(element('dt', '', name), element('dd', '', value));
    }
  };
  add('From', entry.from === entry.to ? entry.from : `${entry.from} to ${entry.to}`);
  add('Outcome', entry.outcome === undefined ? undefined : `${entry.outcome} ${entry.meaning ?? ''}`.trim());
  add('Time', entry.at === undefined ? undefined : `${entry.at}${entry.estimated ? ' (of its neighbour)' : ''}`);
  add('Took', entry.duration === undefined ? undefined : durationText(entry.duration));
  add('At the server', entry.worked === undefined ? undefined : durationText(entry.worked));
  add('Action', entry.action);
  add('Command', entry.ordinal === undefined ? undefined : `${entry.ordinal} of set ${entry.set ?? '?'}`);
  add('Job', entry.job === undefined ? undefined : String(entry.job));
  add('Process', entry.process === undefined ? undefined : String(entry.process));
  add('Session', entry.session);
  add('Stands in', entry.origins.join(', '));
  return facts;
}

/**
 * @param {string} name
 * @param {string | undefined} digits
 * @returns {HTMLElement[]}
 */
function digitsOf(name, digits) {
  return digits === undefined ? [] : [element('h3', '', name), element('code', 'digits', digits)];
}

/**
 * @param {HTMLElement} place
 * @param {Entry} entry
 */
export function showDetail(place, entry) {
  const link = element('a', '', `#${entry.id}`);
  link.setAttribute('href', `#e${entry.id}`);
  link.setAttribute('aria-label', `Link to entry ${entry.id}`);
  place.replaceChildren(
    element('h2', '', link, ` ${entry.title}`),
    ...failureOf(entry),
    factsOf(entry),
    ...entry.sections.flatMap(tableOf),
    ...digitsOf('Command as it was sent', entry.command),
    ...digitsOf('Response as it came', entry.response),
  );
  place.scrollTop = 0;
}
