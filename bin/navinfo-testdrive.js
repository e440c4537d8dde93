#!/usr/bin/env node
'use strict';
// navinfo-testdrive: see `navinfo-testdrive --help`.
require('../apps/testdrive/main.js').cli();
