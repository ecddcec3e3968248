// SPDX-License-Identifier: Apache-2.0
// Debian's browser, driven without a network: what the checks and the screenshots of the page have in common.

import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const switches = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'];

/**
 * Lends a browser to `work`, which is gone afterwards with all that it wrote.
 * @param {(browser: import('playwright-core').BrowserContext) => Promise<void>} work
 * @param {import('playwright-core').BrowserContextOptions} [options]
 */
export async function withBrowser(work, options = {}) {
  const folder = mkdtempSync(join(tmpdir(), 'navo-trace-browser.'));
  const browser = await chromium.launchPersistentContext(folder, {
    executablePath: process.env['NAVO_BROWSER'] ?? '/usr/bin/chromium',
    headless: true,
    args: switches,
    offline: true,
    ...options,
  });
  try {
    await work(browser);
  } finally {
    await browser.close();
    rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
  }
}

/**
 * Opens a page of a file, and collects what it says on its console and what it asks for beside itself.
 * @param {import('playwright-core').BrowserContext} browser
 * @param {string} file
 * @param {string} [fragment]
 */
export async function openPage(browser, file, fragment = '') {
  const page = await browser.newPage();
  /** @type {string[]} */
  const complaints = [];
  const address = pathToFileURL(file).href;
  page.on('console', (message) => complaints.push(`console: ${message.text()}`));
  page.on('pageerror', (error) => complaints.push(`error: ${error.message}`));
  page.on('request', (request) => {
    if (!request.url().startsWith(address) && !request.url().startsWith('data:')) {
      complaints.push(`request: ${request.url()}`);
    }
  });
  await page.goto(address + fragment);
  return { page, complaints };
}
