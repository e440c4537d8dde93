'use strict';
// npm's prepack step: stages the binaries for this machine into
// prebuilds/<platform>-<arch>/ so that the packed package carries them. They
// come from NAVINFO_BUILD_DIR when it is set (the build the tests ran on),
// otherwise from a build of the shipped targets only, in build/package.
const fs = require('fs');
const path = require('path');
const native = require('./native-build');

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
    if (/^NAVINFO_DDS_BRIDGE:BOOL=ON$/m.test(cache)) {
      // Fine for testing on this machine; a release is packed without NAVINFO_BUILD_DIR, whose build has no bridge.
      console.error(`prebuild: warning: ${buildDir} has the DDS bridge: the staged navinfo-service needs Cyclone DDS `
        + '(libddsc) installed where it runs');
    }
  } else {
    native.configure(buildDir, ['-DNAVINFO_BUILD_TESTS=OFF', '-DNAVINFO_BUILD_BENCH=OFF']);
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
