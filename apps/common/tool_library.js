'use strict';
// The npm packages that the programs of apps/ read and write files with
// (route files, recordings). They belong to the tools' own package folder
// (apps/package.json, installed into apps/node_modules by scripts/setup.sh
// with `npm ci --prefix apps`), not to the module, which depends on nothing:
// a program that needs one and does not find it says how to install it.
const path = require('node:path');

const TOOLS_DIR = path.join(__dirname, '..');

function requireToolLibrary(name, purpose) {
  try {
    return require(name);
  } catch (error) {
    if (error.code !== 'MODULE_NOT_FOUND' && error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
    throw new Error(`${purpose} needs the npm package ${name}, which is not installed: ` +
      `run "npm ci --prefix ${TOOLS_DIR}" (the tools' own packages, from their package-lock.json)`);
  }
}

module.exports = { requireToolLibrary, TOOLS_DIR };
