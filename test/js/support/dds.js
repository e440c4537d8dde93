'use strict';
// What the DDS bridge tests share: whether the build has the bridge, and a
// Cyclone DDS configuration that keeps every participant on the loopback
// interface (unicast discovery, no multicast).
const fs = require('node:fs');
const path = require('node:path');
const paths = require('./paths');

const bridgeBuilt = /^NAVINFO_DDS_BRIDGE:BOOL=ON$/m.test(
  fs.readFileSync(path.join(paths.buildDir, 'CMakeCache.txt'), 'utf8'));

const LOOPBACK_CYCLONE_XML = '<CycloneDDS><Domain id="any"><General><Interfaces>' +
  '<NetworkInterface name="lo"/></Interfaces><AllowMulticast>false</AllowMulticast></General><Discovery>' +
  '<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>20</MaxAutoParticipantIndex>' +
  '<Peers><Peer address="127.0.0.1"/></Peers></Discovery></Domain></CycloneDDS>';

module.exports = { bridgeBuilt, LOOPBACK_CYCLONE_XML };
