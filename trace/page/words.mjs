// SPDX-License-Identifier: Apache-2.0
// Numbers and elements, as all of the page writes them.

/**
 * @param {number} microseconds
 * @returns {string}
 */
export function durationText(microseconds) {
  if (microseconds < 1000) {
    return `${Math.round(microseconds)} µs`;
  }
  if (microseconds < 1000000) {
    return `${(microseconds / 1000).toFixed(1)} ms`;
  }
  return `${(microseconds / 1000000).toFixed(2)} s`;
}

/**
 * "2026-03-01T12:00:00.250871Z" without its day.
 * @param {string} at
 * @returns {string}
 */
export function timeOfDay(at) {
  return at.slice(11, 23);
}

/**
 * @param {number} count
 * @param {string} one
 * @param {string} many
 * @returns {string}
 */
export function counted(count, one, many) {
  return `${count.toLocaleString('en')} ${count === 1 ? one : many}`;
}

/**
 * An element with a class, and texts or elements in it.
 * @param {string} name
 * @param {string} className
 * @param {...(Node | string)} inside
 * @returns {HTMLElement}
 */
export function element(name, className, ...inside) {
  const made = document.createElement(name);
  if (className !== '') {
    made.className = className;
  }
  made.append(...inside);
  return made;
}

/**
 * @template {HTMLElement} Kind
 * @param {string} id
 * @param {{ new (): Kind }} kind
 * @returns {Kind}
 */
export function byId(id, kind) {
  const found = document.getElementById(id);
  if (!(found instanceof kind)) {
    throw new Error(`the page has no ${id}`);
  }
  return found;
}
