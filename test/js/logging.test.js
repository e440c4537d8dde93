'use strict';
// The module's log lines: identity, level, and the file, line and function
// of the statement that logs.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const paths = require('./support/paths');
const { sleep } = require('./support/wait');

const nav = paths.loadModule();
const addon = paths.loadAddon();

// The line of the first statement after `fnName` that logs `text`.
function sourceLine(file, fnName, text) {
  const lines = fs.readFileSync(path.join(paths.root, 'interfaces/kits/napi/src', file), 'utf8').split('\n');
  const start = lines.findIndex((l) => l.includes(`::${fnName}(`));
  assert.ok(start >= 0, `${fnName} not found in ${file}`);
  const offset = lines.slice(start).findIndex((l) => l.includes(`"${text}"`));
  assert.ok(offset >= 0);
  return start + offset + 1;
}

test('a log line names the file, line and bare function with the module identity', (t) => {
  addon.captureLogs(4);
  t.after(() => addon.stopLogCapture());
  nav.getNavigationController();
  void nav.MapStatus;
  const logs = addon.takeLogs();
  const factory = logs.find((l) => l.func === 'JsGetNavigationController');
  assert.ok(factory, JSON.stringify(logs));
  assert.equal(factory.text, 'is called!');
  assert.equal(factory.file, 'navigation_info_mgr_napi.cpp');
  assert.equal(factory.line, sourceLine('navigation_info_mgr_napi.cpp', 'JsGetNavigationController', 'is called!'));
  assert.equal(factory.level, 4);
  assert.equal(factory.domain, 0xD005401);
  assert.equal(factory.tag, 'NavInfoJsNapi');
  const getter = logs.find((l) => l.func === 'JsMapStatus');
  assert.equal(getter.text, 'is called!');
  assert.ok(logs.some((l) => l.func === 'NewInstance' &&
    (l.text === 'instance is created, return' || l.text === 'NewInstance.')));
});

test('messages below the level are not kept', (t) => {
  addon.captureLogs(5);
  t.after(() => addon.stopLogCapture());
  nav.getNavigationController();
  assert.deepEqual(addon.takeLogs(), []);
});

test('a skipped property is logged in the name of the parser that met it', (t) => {
  addon.captureLogs(4);
  t.after(() => addon.stopLogCapture());
  const controller = nav.getNavigationController();
  controller.updateNavigationStatus({ unknown: 1, destLocation: { floor: 2 } });
  controller.updateNavigationMetadata({ unknown: 1 });
  const invalid = addon.takeLogs().filter((l) => l.text === 'invalid property name').map((l) => l.func);
  assert.deepEqual(invalid, ['ParseNavigationStatusData', 'ParseLocationData', 'ProcessNavigationMetadataProperty']);
});

test('request lines: the completion under operator(), and the listener logs only its own lines', async (t) => {
  const controller = nav.getNavigationController();
  const system = nav.getSystemNavigationController();
  const bundle = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
  const listenerLines = new Set(['is called!', 'promise then callback is called!', 'invalid property name']);
  addon.captureLogs(4);
  t.after(() => addon.stopLogCapture());
  // [listener's answer, code the requester gets]
  const cases = [
    [async () => ({ code: 1 }), 1],
    [async () => ({ code: 'x' }), 0], // answered, then reading the answer raised an error
    [() => ({ then(resolve) { resolve({ code: 2 }); } }), 2],
    [async () => { throw new Error('refused'); }, 1003], // no answer: settled by the unregistration
  ];
  for (const [answer, code] of cases) {
    controller.registerSystemNavigationListener({ onQueryNavigationInfo: answer, onReceiveNavigationCmd: answer });
    const pending = system.queryNavigationInfo(bundle, 'navigationStatus', {});
    let logs = [];
    for (let i = 0; i < 100 && !logs.some((l) => /notify result|promise then/.test(l.text)); i++) {
      await sleep(10);
      logs = logs.concat(addon.takeLogs());
    }
    controller.unregisterSystemNavigationListener();
    assert.equal((await pending).code, code);
    await sleep(10);
    logs = logs.concat(addon.takeLogs());
    const own = logs.filter((l) => l.file === 'system_navigation_listener_napi.cpp').map((l) => l.text);
    assert.deepEqual(own.filter((text) => !listenerLines.has(text)), [], String(answer));
    const completion = logs.filter((l) => l.text === 'notify result to app.');
    assert.deepEqual(completion.map((l) => [l.file, l.func]), [['map_callback_napi.cpp', 'operator()']]);
    // The empty execute step runs on a worker thread: neither the IPC thread
    // that received the answer nor the JavaScript thread.
    const threadOf = (text) => logs.filter((l) => l.text === text).map((l) => l.thread);
    const [ipc] = threadOf('callback is called.');
    const [worker] = threadOf('run the async runnable');
    assert.equal(threadOf('run the async runnable').length, 1);
    assert.notEqual(worker, ipc);
    assert.notEqual(worker, completion[0].thread);
  }
});
