'use strict';
// Which navinfo-service the installed package runs. The package ships two
// builds of the daemon in its binary folder: navinfo-service, without the DDS
// bridge, which runs anywhere, and navinfo-service-dds, with it, which needs
// Cyclone DDS's library (libddsc) on the machine. The install step picks one
// and records it (lib/load-binding.js reads the record):
//
//   NAVINFO_DDS_BRIDGE=1  (or npm install --navinfo-dds-bridge=1)  the bridge, or the install fails
//   NAVINFO_DDS_BRIDGE=0  (or --navinfo-dds-bridge=0)               never the bridge
//   unset, or auto                                                  the bridge when it runs here
const { spawnSync } = require('child_process');
const fs = require('fs');
const path = require('path');
const { prebuildFolder, PROGRAM_CHOICES } = require('../lib/load-binding');

const DAEMON = 'navinfo-service';
const BRIDGED_DAEMON = 'navinfo-service-dds';
const CYCLONE_PACKAGES = 'cyclonedds-dev cyclonedds-tools libssl-dev';

const WISHES = new Map([
  ['1', 'on'], ['on', 'on'], ['true', 'on'], ['yes', 'on'],
  ['0', 'off'], ['off', 'off'], ['false', 'off'], ['no', 'off'],
  ['', 'auto'], ['auto', 'auto'],
]);

// 'on', 'off' or 'auto'. npm's --navinfo-dds-bridge (given for this one
// command) goes before the environment's NAVINFO_DDS_BRIDGE.
function bridgeWish(env = process.env) {
  for (const [name, value] of [['--navinfo-dds-bridge', env.npm_config_navinfo_dds_bridge],
    ['NAVINFO_DDS_BRIDGE', env.NAVINFO_DDS_BRIDGE]]) {
    if (value === undefined) continue;
    const wish = WISHES.get(String(value).trim().toLowerCase());
    if (!wish) throw new Error(`${name}=${value}: expected 1 (the DDS bridge), 0 (none) or auto`);
    return wish;
  }
  return 'auto';
}

function succeeds(command, args) {
  const result = spawnSync(command, args, { stdio: 'ignore' });
  return result.status === 0;
}

// Cyclone DDS's CMake package in the usual places, for machines without pkg-config.
function cycloneCMakeConfigFound() {
  const roots = ['/usr/local/lib', '/usr/local/lib64', '/usr/lib', '/usr/lib64'];
  for (const root of roots) {
    let entries;
    try {
      entries = fs.readdirSync(root);
    } catch {
      continue;
    }
    // <root>/cmake/CycloneDDS, or Debian's <root>/<multiarch triplet>/cmake/CycloneDDS
    for (const dir of ['.', ...entries]) {
      if (fs.existsSync(path.join(root, dir, 'cmake', 'CycloneDDS', 'CycloneDDSConfig.cmake'))) return true;
    }
  }
  return false;
}

// What building the daemon with its bridge needs and the machine lacks.
function missingForBridgeBuild() {
  const missing = [];
  if (!succeeds('pkg-config', ['--exists', 'CycloneDDS']) && !cycloneCMakeConfigFound()) {
    missing.push('Cyclone DDS with its development files (Debian: cyclonedds-dev)');
  }
  if (!succeeds('idlc', ['-v'])) missing.push("Cyclone DDS's IDL compiler, idlc (Debian: cyclonedds-tools)");
  // The bridge hashes certificates with OpenSSL's libcrypto.
  if (!succeeds('pkg-config', ['--exists', 'libcrypto']) && !fs.existsSync('/usr/include/openssl/evp.h')) {
    missing.push("OpenSSL's development files (Debian: libssl-dev)");
  }
  return missing;
}

// Whether the daemon with the bridge runs here: { ok, reason }. Its
// --version starts it for real, so a missing libddsc shows as the dynamic
// loader's refusal.
function bridgedDaemonRuns(folder) {
  const file = path.join(folder, BRIDGED_DAEMON);
  if (!fs.existsSync(file)) return { ok: false, reason: `no ${BRIDGED_DAEMON} was built for this machine` };
  const result = spawnSync(file, ['--version'], { encoding: 'utf8', timeout: 10000 });
  if (result.status === 0 && /^DDS bridge: built in$/m.test(result.stdout)) return { ok: true, reason: '' };
  const said = `${result.stderr || ''}`.trim().split('\n')[0];
  return { ok: false, reason: `${BRIDGED_DAEMON} does not run here (${said || (result.error ? result.error.message
    : `exit status ${result.status}`)}); Cyclone DDS's library is libddsc (Debian: libddsc0debian)` };
}

// Picks the daemon for wish and records it in folder: { ok, bridge, reason }.
// With 'on', not ok when the daemon with the bridge does not run here; with
// 'auto', the reason says why it is not the one.
function chooseDaemon(wish, folder = prebuildFolder()) {
  const runs = wish === 'off' ? { ok: false, reason: 'the DDS bridge is turned off (NAVINFO_DDS_BRIDGE=0)' }
    : bridgedDaemonRuns(folder);
  if (wish === 'on' && !runs.ok) return { ok: false, bridge: false, reason: runs.reason };
  const choices = { [DAEMON]: runs.ok ? BRIDGED_DAEMON : DAEMON };
  fs.writeFileSync(path.join(folder, PROGRAM_CHOICES), `${JSON.stringify(choices, null, 2)}\n`);
  return { ok: true, bridge: runs.ok, reason: runs.reason };
}

module.exports = { bridgeWish, missingForBridgeBuild, chooseDaemon, CYCLONE_PACKAGES, DAEMON, BRIDGED_DAEMON };
