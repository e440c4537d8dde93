'use strict';
// Where the tests find what the build made.
const path = require('path');

const root = path.join(__dirname, '..', '..', '..');
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
