'use strict';
// The test addon's control of the client library, used without the module:
// its exports exist, refuse bad arguments with clear errors, and report the
// empty state of a process that has made no client calls.
const test = require('node:test');
const assert = require('node:assert/strict');
const paths = require('./support/paths');

const addon = paths.loadAddon();

test('every hook is exported', () => {
  for (const name of ['forceResult', 'clearForcedResults', 'callCount', 'resetCounts', 'lastStatus', 'lastMetadata',
    'lastRequest', 'setBundleName', 'setPolicy', 'setRequestTimeoutMs', 'resetService', 'fireStatusChanged',
    'fireMetadataChanged', 'fireQuery', 'fireCommand', 'takeAnswers', 'callLastCallbackTwice']) {
    assert.equal(typeof addon[name], 'function', name);
  }
});

test('a process without client calls has nothing recorded and nothing to fire at', () => {
  addon.resetCounts();
  addon.resetService();
  assert.equal(addon.callCount('queryNavigationInfo'), 0);
  assert.equal(addon.lastStatus(), null);
  assert.equal(addon.lastMetadata(), null);
  assert.equal(addon.lastRequest('sendNavigationCmd'), null);
  assert.equal(addon.fireQuery(0), -1);
  assert.equal(addon.fireCommand(3), -1);
  assert.equal(addon.fireStatusChanged('com.example.navigation', { status: 1 }), 0);
  assert.equal(addon.fireMetadataChanged('com.example.navigation', { currentSpeed: 3 }), 0);
  assert.deepEqual(addon.takeAnswers(), []);
  assert.equal(addon.callLastCallbackTwice('queryNavigationInfo', { code: 0 }, { code: 1 }), false);
});

test('bad arguments are refused with an error naming the problem', () => {
  assert.throws(() => addon.forceResult('noSuchOperation', 1), /unknown operation: noSuchOperation/);
  assert.throws(() => addon.callCount(), /expected 1 argument/);
  assert.throws(() => addon.setPolicy('denyAll'), /allowAll/);
  assert.throws(() => addon.setPolicy({ 'com.a': { systemApp: 1 } }), /systemApp must be a boolean/);
  assert.throws(() => addon.setPolicy({ 'com.a': true }), /must be \{systemApp, permission\}/);
  assert.throws(() => addon.fireStatusChanged('b', { status: 'one' }), { name: 'TypeError', message: /status/ });
  assert.throws(() => addon.fireStatusChanged('b', { status: 1.5 }), /status is not an integer/);
  assert.throws(() => addon.fireStatusChanged('b', { destLocation: { latitude: 'n' } }), /latitude/);
  assert.throws(() => addon.fireMetadataChanged('b', { intersectionView: [70000] }), /intersectionView/);
  assert.throws(() => addon.fireMetadataChanged('b', { cameraSpeedLimitValid: 1 }), /cameraSpeedLimitValid/);
  assert.throws(() => addon.setRequestTimeoutMs('soon'), /milliseconds must be a number/);
  assert.throws(() => addon.callLastCallbackTwice('queryNavigationInfo', { code: 'x' }, {}), /code/);
});

test('settings are accepted in every documented form', () => {
  addon.setPolicy({ 'com.a': { systemApp: true, permission: true }, 'com.b': {} });
  addon.setPolicy('allowAll');
  addon.setBundleName('com.example.navigation');
  addon.setRequestTimeoutMs(10000);
  addon.forceResult('getNavigationStatus', -1);
  addon.clearForcedResults();
  addon.resetService();
});
