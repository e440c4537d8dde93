'use strict';
// Loads the module "carService.navigationInfoMgr".
module.exports = require('./lib/load-binding').loadBinding('navigationinfomgr');
