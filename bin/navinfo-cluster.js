#!/usr/bin/env node
'use strict';
// navinfo-cluster: see `navinfo-cluster --help`.
require('../apps/cluster/main.js').cli();
