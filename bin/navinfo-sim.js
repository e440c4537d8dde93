#!/usr/bin/env node
'use strict';
// navinfo-sim: see `navinfo-sim --help`.
require('../apps/sim/main.js').cli();
