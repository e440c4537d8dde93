'use strict';
// Debian's Chromium, headless, for the browser tests: a page in a
// throw-away profile, and where screenshots are kept.
const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { chromium } = require('playwright-core');
const paths = require('../../js/support/paths');

const CHROMIUM = '/usr/bin/chromium';
// Without the background-networking switches Chromium reaches out to the
// network at start, which a closed network refuses.
const CHROMIUM_ARGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];
const ARTIFACTS = path.join(paths.buildDir, 'artifacts');

// Opens url in a new browser with a profile of its own; close() ends the
// browser and removes the profile.
async function openPage(url, viewport = { width: 1280, height: 800 }) {
  assert.ok(fs.existsSync(CHROMIUM), `${CHROMIUM} is missing: scripts/setup.sh installs Debian's chromium`);
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-chromium-'));
  let browser;
  try {
    browser = await chromium.launchPersistentContext(profile, {
      executablePath: CHROMIUM, headless: true, args: CHROMIUM_ARGS, viewport, timeout: 60000,
    });
    const page = await browser.newPage();
    await page.goto(url);
    fs.mkdirSync(ARTIFACTS, { recursive: true });
    return {
      browser,
      page,
      close: async () => {
        await browser.close();
        fs.rmSync(profile, { recursive: true, force: true });
      },
    };
  } catch (error) {
    if (browser) await browser.close();
    fs.rmSync(profile, { recursive: true, force: true });
    throw error;
  }
}

module.exports = { openPage, ARTIFACTS };
