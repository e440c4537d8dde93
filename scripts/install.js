'use strict';
// npm's install step: keeps the shipped binaries when they load on this
// machine, and otherwise builds them from the package's sources with CMake.
// `npm install --build-from-source` (or NAVINFO_BUILD_FROM_SOURCE=1) always
// builds.
const fs = require('fs');
const os = require('os');
const path = require('path');
const { platformTag, napiVersion } = require('../lib/load-binding');
const native = require('./native-build');

const NAME = 'navigation-info-mgr';
const truthy = (value) => value !== undefined && value !== '' && value !== '0' && value !== 'false';

function main() {
  const forced = truthy(process.env.npm_config_build_from_source) || truthy(process.env.NAVINFO_BUILD_FROM_SOURCE);
  if (!forced) {
    const shipped = native.bindingLoads();
    if (shipped.ok) return 0;
    console.error(`${NAME}: no prebuilt binary loads on ${platformTag()} (Node-API ${napiVersion}): ${shipped.reason}`);
  }
  console.error(`${NAME}: building the native binaries from source with CMake`);
  const missing = native.missingForBuild();
  if (missing.length > 0) {
    console.error(`${NAME}: cannot build from source; missing:\n${missing.map((m) => `  - ${m}`).join('\n')}\n` +
      `On Debian or Ubuntu: apt-get install ${native.DEBIAN_PACKAGES}`);
    return 1;
  }
  const buildDir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-build-'));
  try {
    native.configure(buildDir, ['-DCMAKE_BUILD_TYPE=Release', '-DNAVINFO_BUILD_TESTS=OFF', '-DNAVINFO_BUILD_BENCH=OFF']);
    native.build(buildDir);
    const folder = native.stage(buildDir);
    const built = native.bindingLoads();
    if (!built.ok) throw new Error(`the binaries built in ${folder} do not load: ${built.reason}`);
    console.error(`${NAME}: built into ${folder}`);
    return 0;
  } catch (error) {
    console.error(`${NAME}: ${error.message}`);
    return 1;
  } finally {
    fs.rmSync(buildDir, { recursive: true, force: true });
  }
}

process.exitCode = main();
