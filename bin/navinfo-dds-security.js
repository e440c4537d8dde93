#!/usr/bin/env node
'use strict';
// navinfo-dds-security: see `navinfo-dds-security --help`.
require('../apps/ddssec/main.js').cli();
