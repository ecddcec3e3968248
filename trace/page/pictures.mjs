// SPDX-License-Identifier: Apache-2.0
// pictures.mjs NAVO-TRACE FOLDER: the page of a made-up session, in three widths and both themes.

import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { openPage, withBrowser } from './browser.mjs';
import { pageOf, walletSession } from './samples.mjs';

const [program = 'navo-trace', target = '.'] = process.argv.slice(2);
const folder = mkdtempSync(join(tmpdir(), 'navo-trace-pictures.'));
const sizes = [{ width: 1440, height: 900 }, { width: 820, height: 1100 }, { width: 360, height: 780 }];

try {
  const file = pageOf(program, walletSession(), folder, 'wallet');
  for (const colorScheme of /** @type {const} */ (['light', 'dark'])) {
    await withBrowser(
      async (browser) => {
        for (const size of sizes) {
          const { page } = await openPage(browser, file);
          await page.setViewportSize(size);
          await page.locator('.row.chosen').waitFor();
          await page.screenshot({ path: join(target, `trace-${size.width}-${colorScheme}.png`) });
          await page.close();
        }
      },
      { colorScheme },
    );
  }
} finally {
  rmSync(folder, { recursive: true, force: true });
}
