'use strict';
// npm's install step: keeps the shipped binaries when they load on this
// machine, and otherwise builds them from the package's sources with CMake.
// `npm install --build-from-source` (or NAVINFO_BUILD_FROM_SOURCE=1) always
// builds. Then it picks the daemon: with the DDS bridge when Cyclone DDS is
// on the machine, unless NAVINFO_DDS_BRIDGE says otherwise
// (scripts/daemon-variant.js).
const fs = require('fs');
const os = require('os');
const path = require('path');
const { platformTag, napiVersion } = require('../lib/load-binding');
const native = require('./native-build');
const variant = require('./daemon-variant');

const NAME = 'navigation-info-mgr';
const truthy = (value) => value !== undefined && value !== '' && value !== '0' && value !== 'false';

function reportDaemon(chosen) {
  console.error(chosen.bridge
    ? `${NAME}: navinfo-service has the DDS bridge (NAVINFO_DDS_BRIDGE=0 to install it without)`
    : `${NAME}: navinfo-service has no DDS bridge${chosen.reason ? `: ${chosen.reason}` : ''}`);
}

function buildFromSource(wish) {
  const bridge = wish === 'on' || (wish === 'auto' && variant.missingForBridgeBuild().length === 0);
  const missing = [...native.missingForBuild(), ...(bridge ? variant.missingForBridgeBuild() : [])];
  if (missing.length > 0) {
    const packages = `${native.DEBIAN_PACKAGES}${bridge ? ` ${variant.CYCLONE_PACKAGES}` : ''}`;
    console.error(`${NAME}: cannot build from source${bridge ? ' with the DDS bridge (NAVINFO_DDS_BRIDGE=1)' : ''}; ` +
      `missing:\n${missing.map((m) => `  - ${m}`).join('\n')}\nOn Debian or Ubuntu: apt-get install ${packages}`);
    return 1;
  }
  console.error(`${NAME}: building the native binaries from source with CMake` +
    `${bridge ? ', the daemon with and without the DDS bridge' : ''}`);
  const buildDir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-build-'));
  try {
    native.configure(buildDir, ['-DCMAKE_BUILD_TYPE=Release', '-DNAVINFO_BUILD_TESTS=OFF', '-DNAVINFO_BUILD_BENCH=OFF',
      `-DNAVINFO_DDS_BRIDGE=${bridge ? 'ON' : 'OFF'}`]);
    native.build(buildDir);
    const folder = native.stage(buildDir);
    const built = native.bindingLoads();
    if (!built.ok) throw new Error(`the binaries built in ${folder} do not load: ${built.reason}`);
    const chosen = variant.chooseDaemon(wish);
    if (!chosen.ok) throw new Error(`the daemon built in ${folder} with the DDS bridge: ${chosen.reason}`);
    console.error(`${NAME}: built into ${folder}`);
    reportDaemon(chosen);
    return 0;
  } catch (error) {
    console.error(`${NAME}: ${error.message}`);
    return 1;
  } finally {
    fs.rmSync(buildDir, { recursive: true, force: true });
  }
}

function main() {
  let wish;
  try {
    wish = variant.bridgeWish();
  } catch (error) {
    console.error(`${NAME}: ${error.message}`);
    return 1;
  }
  const forced = truthy(process.env.npm_config_build_from_source) || truthy(process.env.NAVINFO_BUILD_FROM_SOURCE);
  if (!forced) {
    const shipped = native.bindingLoads();
    if (shipped.ok) {
      const chosen = variant.chooseDaemon(wish);
      if (chosen.ok) {
        reportDaemon(chosen);
        return 0;
      }
      console.error(`${NAME}: the DDS bridge is asked for (NAVINFO_DDS_BRIDGE=1), but ${chosen.reason}`);
    } else {
      console.error(`${NAME}: no prebuilt binary loads on ${platformTag()} (Node-API ${napiVersion}): ${shipped.reason}`);
    }
  }
  return buildFromSource(wish);
}

process.exitCode = main();
