'use strict';
// The cluster page as a person sees it, in headless Chromium: it follows the
// simulator (road names and distances change with each record), its
// buttons reach the simulator, whose answer and effect (the night theme,
// the end of guidance) show on the page, and it fits the displays of cars
// (without buttons too, and in imperial units). Screenshots are kept in
// <build>/artifacts/.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const { openPage, ARTIFACTS } = require('./support/chromium');
const { createClient } = require('navigation-info-mgr/client');
const { createSimulator } = require('../../apps/sim/main');
const { runSimulator } = require('../../apps/sim/runner');
const { createClusterServer } = require('../../apps/cluster/server');

const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

let client;
let simulator;
let run;
let cluster;
let opened; // the browser and its page
let page;
let worstCase; // the timer that publishes the widest figures
let url;
const published = []; // every guidance record the simulator published, in order

before(async () => {
  client = createClient();
  simulator = createSimulator({ values: { home: 'urban', company: 'highway', loop: true } });
  client.followMetadata(BUNDLE).on('metadata', (m) => published.push(m));
  run = runSimulator({ client, simulator, rate: 10, speedFactor: 4 });
  cluster = createClusterServer({ client, bundle: BUNDLE });
  url = await cluster.listen(0);
  opened = await openPage(url);
  page = opened.page;
});

after(async () => {
  if (opened) await opened.close();
  if (run) run.stop();
  if (worstCase) clearInterval(worstCase);
  if (cluster) await cluster.close();
  if (client) client.close();
});

const shown = () => page.evaluate(() => ({
  road: document.getElementById('current-road').textContent,
  next: document.getElementById('next-road').textContent,
  meters: Number(document.getElementById('turn-distance').dataset.meters),
  speed: Number(document.getElementById('speed').dataset.kmh),
  lanes: document.getElementById('lanes').childElementCount,
  arrow: document.getElementById('turn-arrow').dataset.mode,
}));

test('the page follows the simulator: roads, distance, speed, lanes and arrow of its latest records', async (t) => {
  await page.waitForFunction(() => document.getElementById('turn-distance').dataset.meters !== '', null, { timeout: 10000 });
  const seen = [];
  for (let i = 0; i < 12; i++) {
    seen.push(await shown());
    await page.waitForTimeout(150);
  }
  const key = (r) => `${r.road}|${r.next}|${r.meters}|${r.speed}`;
  const publishedKeys = new Set(published.map((m) => key({ road: m.currentRoadName, next: m.nextRoadName,
    meters: m.segmentLeftDis, speed: m.currentSpeed })));
  for (const view of seen) assert.ok(publishedKeys.has(key(view)), `the page shows what was never published: ${key(view)}`);
  assert.ok(new Set(seen.map((v) => v.meters)).size >= 5, `the distance does not follow: ${seen.map((v) => v.meters)}`);
  // The page is at most half a second (five records) behind the simulator.
  const before = published.length;
  const now = (await shown()).meters;
  const recent = published.slice(Math.max(0, before - 5)).map((m) => m.segmentLeftDis);
  assert.ok(recent.includes(now), `the page lags behind: it shows ${now} m, the latest records ${recent}`);
  const view = seen.at(-1);
  assert.ok(view.lanes > 0 && view.arrow !== 'NONE' && view.road !== '—', JSON.stringify(view));
  const shot = path.join(ARTIFACTS, 'cluster-day.png');
  await page.screenshot({ path: shot });
  t.diagnostic(`screenshot: ${shot}`);
});

test('buttons: the simulator answers, and its theme and navigation state change on the page', async (t) => {
  assert.equal(await page.getAttribute('body', 'data-theme'), 'light');
  await page.click('#theme-button');
  await page.waitForFunction(() => document.body.dataset.theme === 'dark', null, { timeout: 5000 });
  assert.match(await page.textContent('#answer'), /^changeTheme → 0 Theme changed to DARK/);
  assert.equal(simulator.theme, 1);
  await page.waitForTimeout(500); // the colours fade over
  const shot = path.join(ARTIFACTS, 'cluster-night.png');
  await page.screenshot({ path: shot });
  t.diagnostic(`screenshot: ${shot}`);

  await page.click('button[data-command="stopNavigation"]');
  await page.waitForFunction(() => document.getElementById('nav-state').textContent === 'IDLE', null, { timeout: 5000 });
  assert.match(await page.textContent('#answer'), /^stopNavigation → 0 Navigation stopped on /);
  await page.click('button[data-query="navigationMetadata"]');
  await page.waitForFunction(() => /navigationMetadata → 1 Not navigating/.test(document.getElementById('answer').textContent),
    null, { timeout: 5000 });
});

// The widest figures a display must show on one line each, with long names.
const WIDE_STATUS = {
  status: 1, destLocation: { name: 'Hauptbahnhof Nord, Europaplatz 1', latitude: 52.525, longitude: 13.369 },
  passPoint: [{ name: 'Start', latitude: 52.5, longitude: 13.35 }, { name: 'Ring', latitude: 52.51, longitude: 13.36 }],
  routeIndex: 0, theme: 0, customData: JSON.stringify({ route: 'Long way round', zoom: 15, layers: ['traffic', 'satellite'] }),
};
const WIDE_METADATA = {
  naviTurnMode: 6, segmentLeftDis: 770, totalLeftDis: 16500, remainingTime: 3900, currentSpeed: 130,
  naviSpeedLimit: 120, naviSpeedLimitValid: true, cameraSpeedLimit: 100, cameraSpeedLimitValid: true, naviBearing: 90,
  currentRoadName: 'Karl-Liebknecht-Straße (Bundesstraße 2)', nextRoadName: 'Otto-von-Bismarck-Allee Richtung Hauptbahnhof',
  trafficLane: 'LLSSRR', customData: { latitude: 52.505, longitude: 13.355 },
};

// What the page's layout does at the current size: scrolling, figures on
// more than one line or outside their panel, parts below the fold.
const layout = () => page.evaluate(() => {
  const rectOf = (el) => {
    const range = document.createRange();
    range.selectNodeContents(el);
    return { lines: new Set([...range.getClientRects()].map((r) => Math.round(r.top))).size, box: range.getBoundingClientRect() };
  };
  const inside = (inner, outer) => inner.left >= outer.left - 1 && inner.right <= outer.right + 1 &&
    inner.top >= outer.top - 1 && inner.bottom <= outer.bottom + 1;
  const view = { left: 0, top: 0, right: window.innerWidth, bottom: window.innerHeight };
  const figures = [...document.querySelectorAll('.figure')].map((el) => ({ el, ...rectOf(el) }));
  const parts = [...document.querySelectorAll('.topbar, .panel, .lanes, .roadbar, .controls')];
  return {
    figures: figures.length,
    scrolls: document.documentElement.scrollHeight > window.innerHeight || document.documentElement.scrollWidth > window.innerWidth,
    wrapped: figures.filter((f) => f.lines > 1).map((f) => `${f.el.id} "${f.el.textContent}"`),
    cut: figures.filter((f) => !inside(f.box, f.el.closest('.panel').getBoundingClientRect()))
      .map((f) => `${f.el.id} "${f.el.textContent}"`),
    belowFold: parts.filter((el) => !inside(el.getBoundingClientRect(), view)).map((el) => el.className),
    buttons: document.querySelectorAll('button').length,
    shown: ['turn-distance', 'total-left', 'speed', 'speed-unit'].map((id) => document.getElementById(id).textContent),
  };
});

test('it fits 800x480, 1280x480, 1280x800 and 1920x720, with buttons and without; no figure wraps; imperial units', async (t) => {
  run.stop();
  run = null;
  const publish = () => {
    client.publishStatus(WIDE_STATUS);
    client.publishMetadata(WIDE_METADATA);
  };
  publish();
  worstCase = setInterval(publish, 500); // as a navigation application does; a page opened later gets them at once
  const metric = ['770 m', '16.5 km', '130', 'km/h'];
  const imperial = ['0.5 mi', '10.3 mi', '81', 'mph'];
  const rows = [
    // [width, height, query, buttons, figures shown]
    [800, 480, '', 13, metric],
    [800, 480, '?controls=0&units=imperial', 0, imperial],
    [1280, 480, '', 13, metric],
    [1280, 480, '?controls=0', 0, metric],
    [1280, 800, '', 13, metric],
    [1280, 800, '?controls=0&units=imperial', 0, imperial],
    [1920, 720, '', 13, metric],
    [1920, 720, '?controls=0', 0, metric],
  ];
  for (const [width, height, query, buttons, shown] of rows) {
    const what = `${width}x${height}${query}`;
    await page.setViewportSize({ width, height });
    await page.goto(`${url}${query}`);
    await page.waitForFunction(() => document.getElementById('turn-distance').dataset.meters === '770' &&
      document.getElementById('nav-state').textContent === 'NAVIGATION', null, { timeout: 5000 });
    const seen = await layout();
    assert.deepEqual(seen, { figures: 7, scrolls: false, wrapped: [], cut: [], belowFold: [], buttons, shown }, what);
    const shot = path.join(ARTIFACTS, `cluster-${width}x${height}${query ? '-kiosk' : ''}.png`);
    await page.screenshot({ path: shot });
    t.diagnostic(`screenshot: ${shot}`);
  }
});
