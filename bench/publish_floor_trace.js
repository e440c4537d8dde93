'use strict';
// One publish of each typical record and one call of its floor, between
// marks (a Node-API call no publish makes): run by bench/publish_floor_trace.sh
// under gdb, which lists the Node-API calls that reach Node in between.
const path = require('node:path');
const { navigationInfoMgr, typicalStatus, typicalMetadata } = require('./common');

const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));
const floor = require(path.join(buildDir, 'lib', 'navinfo_bench_publish_floor.node'));
const controller = navigationInfoMgr.getNavigationController();
floor.prepare('status', typicalStatus);
floor.prepare('metadata', typicalMetadata);

floor.mark();
controller.updateNavigationStatus(typicalStatus);
floor.mark();
floor.status(typicalStatus);
floor.mark();
controller.updateNavigationMetadata(typicalMetadata);
floor.mark();
floor.metadata(typicalMetadata);
floor.mark();
