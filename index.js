'use strict';
// Loads the built module "carService.navigationInfoMgr".
// NAVINFO_BUILD_DIR names another build folder than build/.
const path = require('path');

const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(__dirname, 'build');
module.exports = require(path.join(buildDir, 'lib', 'navigationinfomgr.node'));
