#!/usr/bin/env node
'use strict';
// navinfo-service: the navigation information service daemon (see its --help).
require('../lib/run-binary').runBinary('navinfo-service');
