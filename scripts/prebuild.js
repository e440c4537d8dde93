'use strict';
// npm's prepack step: stages the binaries for this machine into
// prebuilds/<platform>-<arch>/ so that the packed package carries them. They
// come from NAVINFO_BUILD_DIR when it is set (the build the tests ran on),
// otherwise from a build of the shipped targets only, in build/package.
// A build with the DDS bridge gives the package both daemons, with and
// without it; the package's install step picks one (scripts/daemon-variant.js).
const fs = require('fs');
const path = require('path');
const native = require('./native-build');
const variant = require('./daemon-variant');

function main() {
  const given = process.env.NAVINFO_BUILD_DIR;
  const buildDir = given ? path.resolve(given) : path.join(native.packageRoot, 'build', 'package');
  if (given) {
    const cacheFile = path.join(buildDir, 'CMakeCache.txt');
    if (!fs.existsSync(cacheFile)) throw new Error(`NAVINFO_BUILD_DIR=${given} is no CMake build folder`);
    const cache = fs.readFileSync(cacheFile, 'utf8');
    if (/^NAVINFO_SANITIZE:BOOL=ON$/m.test(cache)) {
      throw new Error(`${buildDir} is a sanitizer build: its binaries do not run in a plain Node.js`);
    }
    if (!/^NAVINFO_DDS_BRIDGE:BOOL=ON$/m.test(cache)) {
      console.error(`prebuild: warning: ${buildDir} has no DDS bridge: the package gets only the daemon without it`);
    }
  } else {
    // The bridge when Cyclone DDS is here, unless NAVINFO_DDS_BRIDGE=0; with
    // NAVINFO_DDS_BRIDGE=1 a missing Cyclone DDS fails the configuration.
    const wish = variant.bridgeWish();
    const missing = wish === 'auto' ? variant.missingForBridgeBuild() : [];
    if (missing.length > 0) {
      console.error(`prebuild: warning: the package gets only the daemon without the DDS bridge: ${missing.join('; ')}`);
    }
    const bridge = wish === 'on' || (wish === 'auto' && missing.length === 0);
    native.configure(buildDir, ['-DNAVINFO_BUILD_TESTS=OFF', '-DNAVINFO_BUILD_BENCH=OFF',
      `-DNAVINFO_DDS_BRIDGE=${bridge ? 'ON' : 'OFF'}`]);
  }
  native.build(buildDir);
  const folder = native.stage(buildDir);
  const staged = native.bindingLoads();
  if (!staged.ok) throw new Error(`the binaries staged in ${folder} do not load: ${staged.reason}`);
  console.error(`prebuild: ${fs.readdirSync(folder).join(', ')} in ${path.relative(native.packageRoot, folder)}`);
}

try {
  main();
} catch (error) {
  console.error(`prebuild: ${error.message}`);
  process.exitCode = 1;
}
