'use strict';
// Where the tests find what the build made.
const path = require('path');

const root = path.join(__dirname, '..', '..', '..');

// The tests choose their service explicitly: the embedded one unless a test
// names a daemon. Without this, a navinfo-service that a developer left
// running at its default socket would be found and used (the module takes
// the daemon there when NAVINFO_SERVICE_SOCKET is unset). Every test file
// loads this first; the processes the tests start inherit it.
if (process.env.NAVINFO_SERVICE_SOCKET === undefined) process.env.NAVINFO_SERVICE_SOCKET = '';
const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(root, 'build');

module.exports = {
  root,
  buildDir,
  libDir: path.join(buildDir, 'lib'),
  binDir: path.join(buildDir, 'bin'),
  modulePath: path.join(buildDir, 'lib', 'navigationinfomgr.node'),
  addonPath: path.join(buildDir, 'lib', 'navinfo_test_addon.node'),
  loadModule: () => require(root),
  loadAddon: () => require(path.join(buildDir, 'lib', 'navinfo_test_addon.node')),
};
