// SPDX-License-Identifier: Apache-2.0
// check.mjs NAVO-TRACE: what the page promises, in a browser without a network.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { appendFileSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { openPage, withBrowser } from './browser.mjs';
import { longSession, pageOf, secrets, walletSession } from './samples.mjs';

// Other work on the machine delays what a person would have at once.
const patience = Number(process.env['NAVO_PAGE_PATIENCE'] ?? 2000);
const [program = 'navo-trace'] = process.argv.slice(2);
const folder = mkdtempSync(join(tmpdir(), 'navo-trace-page.'));

/** @typedef {import('playwright-core').Page} Page */

/** @param {Page} page */
async function chosen(page) {
  return Number(await page.locator('.row.chosen .number').innerText());
}

/**
 * @param {Page} page
 * @param {string | RegExp} text
 */
async function shows(page, text) {
  await page.locator('#shown', { hasText: text }).waitFor();
}

/** @param {Page} page */
async function opensAtTheFirstFailure(page) {
  await page.locator('.row.chosen').waitFor();
  assert.match(await page.locator('.row.chosen').innerText(), /STORE DATA/);
  assert.match(await page.locator('#detail .failure').innerText(), /"personalise the wallet" was answered with 6985/);
  assert.match(await page.locator('#detail .failure').innerText(), /Look at: /);
  assert.match(page.url(), /#e\d+$/);
}

/** @param {Page} page */
async function walksByKeyboard(page) {
  const first = await chosen(page);
  await page.keyboard.press('ArrowUp');
  assert.equal(await chosen(page), first - 1);
  await page.keyboard.press('Home');
  assert.equal(await chosen(page), 1);
  await page.keyboard.press('n');
  assert.equal(await chosen(page), first);
  await page.keyboard.press('End');
  await page.keyboard.press('p');
  assert.equal(await chosen(page), first + 1, 'the message that the refusal ended');
  await page.keyboard.press('Enter');
  assert.equal(await page.evaluate(() => document.activeElement?.id), 'detail');
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate(() => document.activeElement?.id), 'list');
  await page.keyboard.press('/');
  assert.equal(await page.evaluate(() => document.activeElement?.id), 'search');
  await page.keyboard.press('Escape');
  await page.keyboard.press('s');
  assert.equal(await page.locator('#to-scale').getAttribute('aria-pressed'), 'true');
  await page.keyboard.press('?');
  assert.equal(await page.locator('#help').getAttribute('open'), '');
  await page.keyboard.press('Escape');
}

/** @param {Page} page */
async function searchesAndFilters(page) {
  await page.fill('#search', 'a0000008410001');
  await shows(page, / of /);
  const found = await page.locator('.row').count();
  assert.ok(found > 0 && found < 10, `${found} rows have the AID`);
  await page.click('#filters button[type=reset]');
  await shows(page, /entries/);
  await page.selectOption('#by-title', 'LOAD');
  await shows(page, /^2 of /);
  await page.click('#filters button[type=reset]');
  await page.selectOption('#by-state', 'failed');
  await shows(page, /^2 of /);
  await page.click('#filters button[type=reset]');
  await page.selectOption('#by-lane', 'server');
  await shows(page, /^8 of /);
  await page.fill('#search', 'nothing has this text');
  await shows(page, /^0 of /);
  assert.match(await page.locator('#detail').innerText(), /No entry is like that/);
  await page.click('#filters button[type=reset]');
  await shows(page, /entries/);
}

/** @param {Page} page */
async function followsLinks(page) {
  await page.evaluate(() => {
    location.hash = '#e3';
  });
  await page.locator('.row.chosen .number', { hasText: /^3$/ }).waitFor();
  assert.match(await page.locator('#detail').innerText(), /card production life cycle data/);
}

/** @param {Page} page */
async function fitsEachWidthAndPaper(page) {
  for (const width of [1440, 820, 360]) {
    await page.setViewportSize({ width, height: 800 });
    const wide = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(wide <= width, `${wide} wide in a window of ${width}`);
  }
  await page.emulateMedia({ media: 'print' });
  await page.evaluate(() => window.dispatchEvent(new Event('beforeprint')));
  const rows = await page.locator('.row').count();
  assert.equal(rows, Number((await page.locator('#shown').textContent())?.split(' ')[0]), 'paper has every entry');
  assert.ok((await page.pdf({ format: 'A4' })).length > 10000);
  await page.emulateMedia({ media: null });
}

/**
 * The relation that WCAG 2.2 asks to be 4.5 for text.
 * @param {Page} page
 * @param {string} theme
 */
async function hasContrast(page, theme) {
  const pairs = ['text/ground', 'text/surface', 'soft/ground', 'soft/surface', 'soft/chosen', 'text/chosen', 'failed/ground', 'failed/failed-ground', 'text/failed-ground', 'failed/chosen', 'noted/ground', 'noted/chosen', 'good/ground', 'good/chosen', 'accent/surface', 'soft/raised', 'text/raised'];
  const relations = await page.evaluate(
    ([names, wanted]) => {
      document.documentElement.dataset['theme'] = wanted;
      const style = getComputedStyle(document.documentElement);
      /** @param {string} name */
      const luminance = (name) => {
        const digits = style.getPropertyValue(`--${name}`).trim().slice(1);
        const parts = [0, 2, 4].map((at) => parseInt(digits.slice(at, at + 2), 16) / 255);
        const [red = 0, green = 0, blue = 0] = parts.map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
        return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
      };
      return names.map((pair) => {
        const [one = 0, other = 0] = pair.split('/').map(luminance);
        return { pair, relation: (Math.max(one, other) + 0.05) / (Math.min(one, other) + 0.05) };
      });
    },
    /** @type {[string[], string]} */ ([pairs, theme]),
  );
  for (const { pair, relation } of relations) {
    assert.ok(relation >= 4.5, `${theme}: ${pair} has ${relation.toFixed(2)}`);
  }
}

/** @param {import('playwright-core').BrowserContext} browser */
async function checkWallet(browser) {
  const file = pageOf(program, walletSession(), folder, 'wallet');
  const text = readFileSync(file, 'utf8');
  secrets.forEach((secret) => assert.ok(!text.includes(secret), `${secret} is on a masked page`));
  const { page, complaints } = await openPage(browser, file);
  await opensAtTheFirstFailure(page);
  await walksByKeyboard(page);
  await searchesAndFilters(page);
  await followsLinks(page);
  await hasContrast(page, 'light');
  await hasContrast(page, 'dark');
  await fitsEachWidthAndPaper(page);
  assert.deepEqual(complaints, []);
  await page.close();
  const open = pageOf(program, walletSession(), folder, 'open', ['--mask', 'none']);
  const { page: unmasked } = await openPage(browser, open);
  assert.match(await unmasked.locator('#mask').innerText(), /this page holds secrets/);
  await unmasked.close();
}

/** @param {import('playwright-core').BrowserContext} browser */
async function checkLong(browser) {
  const file = pageOf(program, longSession(10000), folder, 'long');
  const begun = performance.now();
  const { page, complaints } = await openPage(browser, file, '#e9999');
  await page.locator('.row.chosen').waitFor();
  const milliseconds = Math.round(performance.now() - begun);
  assert.equal(await chosen(page), 9999);
  assert.ok((await page.locator('.row').count()) < 120, 'only what is visible is drawn');
  await page.keyboard.press('Home');
  assert.equal(await chosen(page), 1);
  const frames = await page.evaluate(async () => {
    const list = document.getElementById('list');
    const times = [];
    for (let step = 0; step < 60 && list !== null; step += 1) {
      const before = performance.now();
      list.scrollTop += 900;
      await new Promise((resolve) => requestAnimationFrame(resolve));
      times.push(performance.now() - before);
    }
    return times.sort((left, right) => left - right)[30] ?? 0;
  });
  assert.deepEqual(complaints, []);
  await page.close();
  console.log(`10,000 APDUs: open after ${milliseconds} ms, ${frames.toFixed(1)} ms for a frame of scrolling`);
  assert.ok(milliseconds < patience, `10,000 APDUs took ${milliseconds} ms`);
}

/** @param {import('playwright-core').BrowserContext} browser */
async function checkServed(browser) {
  const file = join(folder, 'growing.log');
  writeFileSync(file, 'D/NavoAgent( 9): cmd: 67\n');
  const served = spawn(program, ['--serve', file], { stdio: ['ignore', 'pipe', 'inherit'] });
  try {
    const [line] = await once(served.stdout, 'data');
    const page = await browser.newPage();
    await page.goto(String(line).trim().split(' ').pop() ?? '');
    await shows(page, '1 entry');
    appendFileSync(file, 'D/NavoAgent( 9): Job execution status: 10000000_Unknown error\n');
    await shows(page, '2 entries');
    assert.match(await page.locator('#summary').innerText(), /1 failed/);
    await page.close();
  } finally {
    served.kill();
  }
}

try {
  await withBrowser(async (browser) => {
    await checkWallet(browser);
    await checkLong(browser);
  });
  await withBrowser(checkServed, { offline: false });
  console.log('the page keeps its promises');
} finally {
  rmSync(folder, { recursive: true, force: true });
}
