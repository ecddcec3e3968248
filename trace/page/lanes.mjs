// SPDX-License-Identifier: Apache-2.0
// The time axis: four lanes, commands as bars, messages as arrows between them.

import { scaleOf } from './scale.mjs';
import { durationText } from './words.mjs';

/** @typedef {import('./model.mjs').Entry} Entry */
/** @typedef {import('./scale.mjs').Scale} Scale */

const axisLanes = ['client', 'service', 'server', 'card'];
const axisMargin = 58; // that the lanes' names stand in
const axisHeight = 112;
const mostZoom = 4096;

export class TimeAxis {
  /**
   * @param {HTMLCanvasElement} canvas
   * @param {HTMLElement} span
   * @param {(entry: Entry) => void} onChosen
   */
  constructor(canvas, span, onChosen) {
    this.canvas = canvas;
    this.span = span;
    /** @type {Entry[]} */
    this.entries = [];
    /** @type {Entry | null} */
    this.chosen = null;
    this.isCompressed = true;
    this.zoom = 1;
    this.begin = 0; // of what is shown, from 0 to 1
    /** @type {Scale | null} */
    this.scale = null;
    new ResizeObserver(() => this.draw()).observe(canvas);
    canvas.addEventListener('click', (event) => {
      const nearest = this.nearest(event.offsetX);
      if (nearest !== null) {
        onChosen(nearest);
      }
    });
  }

  /** @param {Entry[]} entries */
  show(entries) {
    this.entries = entries;
    this.scale = scaleOf(entries, this.isCompressed);
    this.draw();
  }

  /** @param {boolean} isCompressed */
  compress(isCompressed) {
    this.isCompressed = isCompressed;
    this.show(this.entries);
    this.follow();
  }

  /** @param {Entry} entry */
  choose(entry) {
    this.chosen = entry;
    this.follow();
  }

  /** @param {number} factor */
  magnify(factor) {
    this.zoom = Math.min(mostZoom, Math.max(1, this.zoom * factor));
    this.follow();
  }

  /** Moves the part that is shown to what is chosen. */
  follow() {
    const place = this.scale !== null && this.chosen?.time !== undefined ? this.scale.place(this.chosen.time) : 0.5;
    const width = 1 / this.zoom;
    if (place < this.begin || place > this.begin + width || this.zoom === 1) {
      this.begin = place - width / 2;
    }
    this.begin = Math.max(0, Math.min(1 - width, this.begin));
    this.draw();
  }

  /** @returns {number} */
  width() {
    return Math.max(1, this.canvas.clientWidth - axisMargin - 8);
  }

  /**
   * @param {number} time
   * @returns {number}
   */
  x(time) {
    const place = this.scale?.place(time) ?? 0;
    return axisMargin + (place - this.begin) * this.zoom * this.width();
  }

  /**
   * @param {number} x
   * @returns {Entry | null}
   */
  nearest(x) {
    /** @type {Entry | null} */
    let best = null;
    let distance = Infinity;
    for (const entry of this.entries) {
      if (entry.time !== undefined) {
        const begin = this.x(entry.time);
        const end = this.x(entry.time + (entry.duration ?? 0));
        const apart = x < begin ? begin - x : Math.max(0, x - end);
        if (apart < distance) {
          distance = apart;
          best = entry;
        }
      }
    }
    return best;
  }

  draw() {
    const ratio = window.devicePixelRatio || 1;
    const context = this.canvas.getContext('2d');
    if (context === null || this.canvas.clientWidth === 0) {
      return;
    }
    this.canvas.width = Math.round(this.canvas.clientWidth * ratio);
    this.canvas.height = Math.round(axisHeight * ratio);
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, this.canvas.clientWidth, axisHeight);
    const style = getComputedStyle(document.documentElement);
    /** @param {string} name */
    const colour = (name) => style.getPropertyValue(`--${name}`).trim();
    this.drawLanes(context, colour);
    context.save();
    context.beginPath();
    context.rect(axisMargin - 4, 0, this.width() + 8, axisHeight);
    context.clip();
    for (const entry of this.entries) {
      this.drawEntry(context, entry, colour);
    }
    this.drawChosen(context, colour);
    context.restore();
    this.tellSpan();
  }

  /**
   * @param {number} lane
   * @returns {number}
   */
  laneY(lane) {
    return 14 + lane * 26;
  }

  /**
   * @param {CanvasRenderingContext2D} context
   * @param {(name: string) => string} colour
   */
  drawLanes(context, colour) {
    context.font = '11px system-ui, sans-serif';
    context.textBaseline = 'middle';
    context.lineWidth = 1;
    axisLanes.forEach((name, lane) => {
      context.fillStyle = colour('soft');
      context.fillText(name, 4, this.laneY(lane));
      context.strokeStyle = colour('line');
      context.beginPath();
      context.moveTo(axisMargin, this.laneY(lane) + 0.5);
      context.lineTo(axisMargin + this.width(), this.laneY(lane) + 0.5);
      context.stroke();
    });
  }

  /**
   * @param {CanvasRenderingContext2D} context
   * @param {Entry} entry
   * @param {(name: string) => string} colour
   */
  drawEntry(context, entry, colour) {
    if (entry.time === undefined) {
      return;
    }
    const begin = this.x(entry.time);
    const end = this.x(entry.time + (entry.duration ?? 0));
    if (end < axisMargin - 6 || begin > axisMargin + this.width() + 6) {
      return;
    }
    const from = axisLanes.indexOf(entry.from);
    const to = axisLanes.indexOf(entry.to);
    const isFailed = entry.state === 'failed';
    if (entry.kind === 'apdu' || entry.kind === 'open' || entry.kind === 'close') {
      context.fillStyle = colour(isFailed ? 'failed' : 'card');
      context.fillRect(begin, this.laneY(3) - 8, Math.max(1.5, end - begin), 16);
      return;
    }
    context.strokeStyle = colour(isFailed ? 'failed' : entry.kind === 'message' ? 'server' : 'service');
    context.fillStyle = context.strokeStyle;
    context.lineWidth = 1.4;
    this.drawArrow(context, begin, from, to);
    if (entry.kind === 'message') {
      this.drawWork(context, entry, begin, end, colour);
    }
  }

  /**
   * The time at the server, and the answer.
   * @param {CanvasRenderingContext2D} context
   * @param {Entry} entry
   * @param {number} begin
   * @param {number} end
   * @param {(name: string) => string} colour
   */
  drawWork(context, entry, begin, end, colour) {
    const received = entry.received === undefined ? begin : this.x(entry.received);
    const answered = entry.received === undefined ? end : this.x(entry.received + (entry.worked ?? 0));
    context.fillStyle = colour(entry.state === 'failed' ? 'failed' : 'server');
    context.fillRect(received, this.laneY(2) - 6, Math.max(1.5, answered - received), 12);
    if (entry.outcome !== undefined) {
      this.drawArrow(context, Math.max(end, answered), 2, 1);
    }
  }

  /**
   * @param {CanvasRenderingContext2D} context
   * @param {number} x
   * @param {number} from
   * @param {number} to
   */
  drawArrow(context, x, from, to) {
    const head = to > from ? -5 : 5;
    context.beginPath();
    context.moveTo(x, this.laneY(from));
    context.lineTo(x, this.laneY(to));
    context.stroke();
    if (from !== to) {
      context.beginPath();
      context.moveTo(x, this.laneY(to));
      context.lineTo(x - 3, this.laneY(to) + head);
      context.lineTo(x + 3, this.laneY(to) + head);
      context.fill();
    } else {
      context.fillRect(x - 2, this.laneY(from) - 2, 4, 4);
    }
  }

  /**
   * @param {CanvasRenderingContext2D} context
   * @param {(name: string) => string} colour
   */
  drawChosen(context, colour) {
    if (this.chosen?.time === undefined) {
      return;
    }
    const begin = this.x(this.chosen.time);
    const end = this.x(this.chosen.time + (this.chosen.duration ?? 0));
    context.strokeStyle = colour('text');
    context.lineWidth = 2;
    context.strokeRect(begin - 3, 3, Math.max(6, end - begin + 6), axisHeight - 12);
  }

  tellSpan() {
    const first = this.scale?.moment(this.begin);
    const last = this.scale?.moment(this.begin + 1 / this.zoom);
    this.span.textContent =
      first === undefined || last === undefined
        ? 'No entry has a time.'
        : `${durationText(last - first)} shown${this.zoom > 1 ? `, enlarged ${this.zoom} times` : ''}`;
  }
}
