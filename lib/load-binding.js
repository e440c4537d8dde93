'use strict';
// Finds and loads one of the package's native binaries by name
// (for example 'navigationinfomgr' for the module itself).
// NAVINFO_BUILD_DIR names a build folder to load from instead of build/.
const path = require('path');

function loadBinding(name) {
  const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build');
  return require(path.join(buildDir, 'lib', `${name}.node`));
}

module.exports = { loadBinding };
