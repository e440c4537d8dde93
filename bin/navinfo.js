#!/usr/bin/env node
'use strict';
// navinfo: see `navinfo --help`.
require('../apps/cli/main.js').cli();
