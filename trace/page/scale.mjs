// SPDX-License-Identifier: Apache-2.0
// Where a moment stands on the time axis, from 0 to 1.

/** @typedef {import('./model.mjs').Entry} Entry */
/** @typedef {{ place: (time: number) => number, moment: (place: number) => number }} Scale */

/**
 * @param {number} begin
 * @param {number} end
 * @returns {Scale}
 */
function trueScale(begin, end) {
  const span = Math.max(1, end - begin);
  return { place: (time) => (time - begin) / span, moment: (place) => begin + place * span };
}

/**
 * Between two places that are known, by halves.
 * @param {number[]} from
 * @param {number[]} to
 * @param {number} value
 * @returns {number}
 */
function between(from, to, value) {
  let low = 0;
  let high = from.length - 1;
  while (high - low > 1) {
    const middle = (low + high) >> 1;
    if ((from[middle] ?? 0) <= value) {
      low = middle;
    } else {
      high = middle;
    }
  }
  const [a, b, c, d] = [from[low] ?? 0, from[high] ?? 1, to[low] ?? 0, to[high] ?? 1];
  return b === a ? c : c + ((value - a) / (b - a)) * (d - c);
}

/**
 * A pause takes the more room the longer it is, but by far not as much more.
 * @param {number[]} edges
 * @returns {Scale}
 */
function compressedScale(edges) {
  const places = [0];
  let sum = 0;
  for (let index = 1; index < edges.length; index += 1) {
    sum += Math.log2(1 + ((edges[index] ?? 0) - (edges[index - 1] ?? 0)) / 100);
    places.push(sum);
  }
  const shares = places.map((place) => place / Math.max(sum, 1e-9));
  return { place: (time) => between(edges, shares, time), moment: (place) => between(shares, edges, place) };
}

/**
 * @param {Entry[]} entries
 * @param {boolean} isCompressed
 * @returns {Scale | null} nothing when no entry has a time
 */
export function scaleOf(entries, isCompressed) {
  /** @type {Set<number>} */
  const edges = new Set();
  for (const entry of entries) {
    if (entry.time !== undefined) {
      edges.add(entry.time);
      edges.add(entry.time + (entry.duration ?? 0));
    }
    if (entry.received !== undefined) {
      edges.add(entry.received);
      edges.add(entry.received + (entry.worked ?? 0));
    }
  }
  const sorted = [...edges].sort((left, right) => left - right);
  if (sorted.length === 0) {
    return null;
  }
  return isCompressed ? compressedScale(sorted) : trueScale(sorted[0] ?? 0, sorted[sorted.length - 1] ?? 0);
}
