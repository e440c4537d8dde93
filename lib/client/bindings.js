'use strict';
// The native parts under the client API, loaded once per JavaScript thread:
// the module "carService.navigationInfoMgr" and its companion addon.
const { loadBinding } = require('../load-binding');

const nav = loadBinding('navigationinfomgr');
const companion = loadBinding('navinfo_companion');

// The kinds of queries and commands by name, with the numbers the client
// library takes (their order in the module's enumerations).
const QUERY_TYPES = Object.values(nav.QueryType);
const COMMAND_TYPES = Object.values(nav.CommandType);

module.exports = { nav, companion, QUERY_TYPES, COMMAND_TYPES };
