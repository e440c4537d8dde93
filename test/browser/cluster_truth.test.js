'use strict';
// The cluster page tells the truth about its source, in headless Chromium:
// when the navigation application is killed, the page blanks the manoeuvre,
// speed, distances and arrival, says "Navigation app not responding" and
// the dot stops being green; when the service goes, it says "Service
// unavailable" the same way. The simulator and the daemon run as processes
// of their own here; the cluster server runs in this process.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const path = require('node:path');
const paths = require('../js/support/paths');
const { startDaemon, tempDir, writePolicy, killAll } = require('../js/support/daemon');
const { openPage, ARTIFACTS } = require('./support/chromium');
const NAV = 'com.example.truth.navigation';
const CLUSTER = 'com.example.truth.cluster';
// The page must show the truth within a second of it; the wait allows for a
// loaded test machine.
const WAIT_MS = 5000;

const tmp = tempDir();
let daemon;
let sim;
let client;
let cluster;
let opened; // the browser and its page
let page;

before(async () => {
  const policy = writePolicy(tmp.file('policy.json'), {
    [NAV]: { navigationPermission: true }, [CLUSTER]: { systemApp: true, navigationPermission: true },
  });
  daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy]);
  sim = spawn(process.execPath, [path.join(paths.root, 'bin', 'navinfo-sim.js'), '--rate', '10', '--loop'], {
    stdio: 'ignore', env: { ...process.env, NAVINFO_SERVICE_SOCKET: daemon.socketPath, NAVINFO_BUNDLE_NAME: NAV },
  });
  const { createClient } = require('navigation-info-mgr/client');
  const { createClusterServer } = require('../../apps/cluster/server');
  client = createClient({ socket: daemon.socketPath, bundleName: CLUSTER });
  await client.ready({ timeout: 10000 });
  cluster = createClusterServer({ client, bundle: NAV });
  const url = await cluster.listen(0);
  opened = await openPage(url);
  page = opened.page;
});

after(async () => {
  if (opened) await opened.close();
  if (cluster) await cluster.close();
  if (client) client.close();
  if (sim) sim.kill('SIGKILL');
  killAll();
  tmp.remove();
});

const shown = () => page.evaluate(() => ({
  text: document.getElementById('turn-text').textContent,
  state: document.getElementById('nav-state').textContent,
  arrow: document.getElementById('turn-arrow').childElementCount,
  distance: document.getElementById('turn-distance').textContent,
  speed: document.getElementById('speed').textContent,
  left: document.getElementById('total-left').textContent,
  eta: document.getElementById('eta').textContent,
  lanes: document.getElementById('lanes').childElementCount,
  live: document.getElementById('link').classList.contains('live'),
}));

const BLANK = { arrow: 0, distance: '—', speed: '—', left: '—', eta: '—', lanes: 0, live: false };

test('the page blanks the guidance and says why when the navigation app or the service goes', async () => {
  await page.waitForFunction(() => document.getElementById('turn-distance').dataset.meters !== '' &&
    document.getElementById('link').classList.contains('live'), null, { timeout: 15000 });
  const guiding = await shown();
  assert.equal(guiding.state, 'NAVIGATION');
  assert.notEqual(guiding.distance, '—');

  // [what goes, how, the text the page then shows, its badge]
  const rows = [
    ['the navigation app', () => sim.kill('SIGKILL'), 'Navigation app not responding', 'UNAVAILABLE'],
    ['the service', () => daemon.child.kill('SIGKILL'), 'Service unavailable', 'NO SERVICE'],
  ];
  for (const [what, end, text, state] of rows) {
    end();
    await page.waitForFunction((expected) => document.getElementById('turn-text').textContent === expected, text,
      { timeout: WAIT_MS });
    assert.deepEqual(await shown(), { ...BLANK, text, state }, what);
    await page.screenshot({ path: path.join(ARTIFACTS, `cluster-${state.toLowerCase().replace(' ', '-')}.png`) });
  }
});
