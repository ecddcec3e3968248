// SPDX-License-Identifier: Apache-2.0
// The list of entries, of which only what is visible is drawn.

import { durationText, element, timeOfDay } from './words.mjs';

/** @typedef {import('./model.mjs').Entry} Entry */

const rowHeight = 30;
const rowsAround = 12; // that are drawn beyond what is visible
const mostPrinted = 3000;
const laneNames = ['client', 'service', 'server', 'card'];
const laneWidth = 46;

/**
 * @param {string} name
 * @param {Record<string, string | number>} attributes
 * @returns {SVGElement}
 */
function svgElement(name, attributes) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) {
    made.setAttribute(key, String(value));
  }
  return made;
}

/**
 * The four lanes, and an arrow between two of them.
 * @param {Entry} entry
 * @returns {SVGElement}
 */
function arrowOf(entry) {
  const svg = svgElement('svg', { width: laneWidth * 4, height: rowHeight, 'aria-hidden': 'true' });
  const middle = rowHeight / 2;
  for (let lane = 0; lane < 4; lane += 1) {
    const x = lane * laneWidth + laneWidth / 2;
    svg.append(svgElement('line', { x1: x, x2: x, y1: 0, y2: rowHeight, class: 'life' }));
  }
  const from = laneNames.indexOf(entry.from) * laneWidth + laneWidth / 2;
  const to = laneNames.indexOf(entry.to) * laneWidth + laneWidth / 2;
  if (from === to) {
    svg.append(svgElement('circle', { cx: from, cy: middle, r: 3.5, class: 'arrow' }));
    return svg;
  }
  const head = to > from ? -7 : 7;
  svg.append(svgElement('line', { x1: from, x2: to, y1: middle, y2: middle, class: `arrow${entry.kind === 'reply' ? ' back' : ''}` }));
  svg.append(svgElement('path', { d: `M${to},${middle} l${head},-4 v8 z`, class: 'arrow' }));
  if (entry.kind === 'apdu') {
    svg.append(svgElement('rect', { x: to - 4, y: middle - 8, width: 8, height: 16, rx: 2, class: 'bar-of-card' }));
  }
  return svg;
}

export class EntryList {
  /**
   * @param {HTMLElement} frame
   * @param {HTMLElement} rows
   * @param {(entry: Entry) => void} onChosen
   */
  constructor(frame, rows, onChosen) {
    this.frame = frame;
    this.rows = rows;
    this.onChosen = onChosen;
    /** @type {Entry[]} */
    this.entries = [];
    this.chosen = -1;
    /** @type {Map<number, HTMLElement>} */
    this.drawn = new Map();
    frame.addEventListener('scroll', () => this.draw(), { passive: true });
    new ResizeObserver(() => this.draw()).observe(frame);
    rows.addEventListener('click', (event) => this.onClick(event));
    window.addEventListener('beforeprint', () => this.drawAll());
    window.addEventListener('afterprint', () => this.redraw());
  }

  /** @param {Entry[]} entries */
  show(entries) {
    this.entries = entries;
    this.chosen = -1;
    this.rows.style.height = `${entries.length * rowHeight}px`;
    this.redraw();
  }

  redraw() {
    this.rows.replaceChildren();
    this.drawn.clear();
    this.draw();
  }

  draw() {
    const first = Math.max(0, Math.floor(this.frame.scrollTop / rowHeight) - rowsAround);
    const visible = Math.ceil(this.frame.clientHeight / rowHeight) + 2 * rowsAround;
    this.drawBetween(first, Math.min(this.entries.length, first + visible));
  }

  drawAll() {
    this.drawBetween(0, Math.min(this.entries.length, mostPrinted));
  }

  /**
   * @param {number} first
   * @param {number} end
   */
  drawBetween(first, end) {
    for (const [index, row] of this.drawn) {
      if (index < first || index >= end) {
        row.remove();
        this.drawn.delete(index);
      }
    }
    for (let index = first; index < end; index += 1) {
      const entry = this.entries[index];
      if (entry !== undefined && !this.drawn.has(index)) {
        const row = this.rowOf(entry, index);
        this.drawn.set(index, row);
        this.rows.append(row);
      }
    }
  }

  /**
   * @param {Entry} entry
   * @param {number} index
   * @returns {HTMLElement}
   */
  rowOf(entry, index) {
    const row = element('div', `row ${entry.state}`);
    row.id = `row-${entry.id}`;
    row.dataset['index'] = String(index);
    row.setAttribute('role', 'option');
    row.setAttribute('aria-setsize', String(this.entries.length));
    row.setAttribute('aria-posinset', String(index + 1));
    row.setAttribute('aria-selected', String(index === this.chosen));
    row.classList.toggle('chosen', index === this.chosen);
    row.style.transform = `translateY(${index * rowHeight}px)`;
    const took = entry.duration ?? entry.worked;
    const time = entry.at === undefined ? '' : `${entry.estimated ? '~' : ''}${timeOfDay(entry.at)}`;
    row.append(
      element('span', 'number', String(entry.id)),
      element('span', 'time', time),
      element('span', `lane to-${entry.to}`),
      arrowOf(entry),
      element('span', 'title', entry.title),
      element('span', 'outcome', entry.outcome ?? (entry.state === 'failed' ? 'failed' : '')),
      element('span', 'duration', took === undefined ? '' : durationText(took)),
    );
    return row;
  }

  /** @param {Event} event */
  onClick(event) {
    const row = event.target instanceof Element ? event.target.closest('.row') : null;
    if (row instanceof HTMLElement) {
      this.choose(Number(row.dataset['index']));
    }
  }

  /**
   * @param {number} wanted an index; one beyond the list stands for its end
   */
  choose(wanted) {
    const index = Math.max(0, Math.min(this.entries.length - 1, wanted));
    const entry = this.entries[index];
    if (entry === undefined) {
      return;
    }
    this.mark(this.chosen, false);
    this.chosen = index;
    const top = index * rowHeight;
    const height = this.frame.clientHeight;
    const beyond = Math.max(this.frame.scrollTop - top, top + rowHeight - this.frame.scrollTop - height);
    if (beyond > 2 * rowHeight) {
      this.frame.scrollTop = top - height / 2; // from afar, with what stands around it
    } else if (beyond > 0) {
      this.frame.scrollTop += top < this.frame.scrollTop ? -beyond : beyond;
    }
    this.draw();
    this.mark(index, true);
    this.frame.setAttribute('aria-activedescendant', `row-${entry.id}`);
    this.onChosen(entry);
  }

  /**
   * @param {number} index
   * @param {boolean} isChosen
   */
  mark(index, isChosen) {
    const row = this.drawn.get(index);
    row?.classList.toggle('chosen', isChosen);
    row?.setAttribute('aria-selected', String(isChosen));
  }

  /** How many rows a page of the list has. */
  pageSize() {
    return Math.max(1, Math.floor(this.frame.clientHeight / rowHeight) - 1);
  }

  /**
   * The nearest failure behind or before what is chosen.
   * @param {1 | -1} step
   */
  chooseFailure(step) {
    for (let index = this.chosen + step; index >= 0 && index < this.entries.length; index += step) {
      if (this.entries[index]?.state === 'failed') {
        this.choose(index);
        return;
      }
    }
  }

  /**
   * @param {number} id
   * @returns {boolean} whether the list has the entry
   */
  chooseId(id) {
    const index = this.entries.findIndex((entry) => entry.id === id);
    if (index >= 0) {
      this.choose(index);
    }
    return index >= 0;
  }
}
