'use strict';
// Builds the package's native binaries with CMake and stages them in its
// binary folder, prebuilds/<platform>-<arch>/ (see lib/load-binding.js):
// at pack time from a build folder (scripts/prebuild.js), and at install time
// from the package's sources when no shipped binary fits the machine
// (scripts/install.js).
const { spawnSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { prebuildFolder } = require('../lib/load-binding');

const packageRoot = path.join(__dirname, '..');
const MIN_CMAKE = [3, 20];
const DEBIAN_PACKAGES = 'cmake g++ make nlohmann-json3-dev';

function commandOutput(command, args) {
  const result = spawnSync(command, args, { encoding: 'utf8' });
  return result.status === 0 ? result.stdout : null;
}

// The folder holding node_api.h: the headers installed with the Node.js that
// runs this script, or the node-api-headers package if one is installed.
function findNodeApiHeaders() {
  const candidates = [path.resolve(path.dirname(process.execPath), '..', 'include', 'node')];
  try {
    const headersPackage = require.resolve('node-api-headers/package.json', { paths: [packageRoot] });
    candidates.push(path.join(path.dirname(headersPackage), 'include'));
  } catch {
    // not installed: Node's own headers or nothing
  }
  return candidates.find((dir) => fs.existsSync(path.join(dir, 'node_api.h'))) || null;
}

function cmakeVersionOk() {
  const match = /cmake version (\d+)\.(\d+)/.exec(commandOutput('cmake', ['--version']) || '');
  if (!match) return false;
  const [major, minor] = [Number(match[1]), Number(match[2])];
  return major > MIN_CMAKE[0] || (major === MIN_CMAKE[0] && minor >= MIN_CMAKE[1]);
}

// What a build from source needs and the machine lacks, one text per item.
function missingForBuild() {
  const missing = [];
  if (!cmakeVersionOk()) missing.push(`CMake ${MIN_CMAKE.join('.')} or newer (cmake)`);
  const compilers = process.env.CXX ? [process.env.CXX] : ['c++', 'g++', 'clang++'];
  if (!compilers.some((cxx) => commandOutput(cxx, ['--version']) !== null)) {
    missing.push(`a C++17 compiler (${process.env.CXX ? `CXX=${process.env.CXX} does not run` : 'g++ or clang++'})`);
  }
  const generator = process.env.CMAKE_GENERATOR || 'Unix Makefiles';
  if (/Makefiles/.test(generator) && commandOutput('make', ['--version']) === null) {
    missing.push('make (or set CMAKE_GENERATOR to an installed build tool such as Ninja)');
  }
  if (!findNodeApiHeaders()) {
    missing.push(`the Node-API headers (node_api.h): none in ${path.resolve(path.dirname(process.execPath),
      '..', 'include', 'node')} beside this Node.js, and no node-api-headers package`);
  }
  return missing;
}

// Runs a build step with its output on stderr, where npm shows script
// output, and away from stdout (npm pack --json prints there).
function run(command, args, what) {
  const result = spawnSync(command, args, { stdio: ['ignore', process.stderr, process.stderr] });
  if (result.status !== 0) {
    throw new Error(`${what} failed (${command} ${args.join(' ')}: ${result.error ? result.error.message :
      `exit status ${result.status}`})`);
  }
}

// Configures buildDir for the package's sources. The output is shown only
// when it fails, with a hint for the one library CMake looks for itself.
function configure(buildDir, cmakeArgs) {
  const args = ['-S', packageRoot, '-B', buildDir, ...cmakeArgs];
  const headers = findNodeApiHeaders();
  if (headers) args.push(`-DNODE_API_INCLUDE_DIR=${headers}`);
  const result = spawnSync('cmake', args, { encoding: 'utf8' });
  if (result.status !== 0) {
    const output = `${result.stdout || ''}${result.stderr || ''}`;
    process.stderr.write(output);
    const hint = /nlohmann_json/.test(output) ? `: nlohmann-json is missing (Debian: nlohmann-json3-dev)` : '';
    throw new Error(`CMake could not configure the build${hint}`);
  }
}

function build(buildDir) {
  run('cmake', ['--build', buildDir, '--parallel', String(os.availableParallelism())], 'the build');
}

// Replaces the package's binary folder with the runtime files of buildDir.
// A build with the DDS bridge has the daemon twice: its navinfo-service (the
// bridge) is staged as navinfo-service-dds and its navinfo-service-nobridge
// as navinfo-service, the name the daemon without the bridge always has in
// the package.
function stage(buildDir) {
  const folder = prebuildFolder();
  fs.rmSync(folder, { recursive: true, force: true });
  run('cmake', ['--install', buildDir, '--component', 'runtime', '--strip', '--prefix', folder], 'staging');
  const withoutBridge = path.join(folder, 'navinfo-service-nobridge');
  if (fs.existsSync(withoutBridge)) {
    fs.renameSync(path.join(folder, 'navinfo-service'), path.join(folder, 'navinfo-service-dds'));
    fs.renameSync(withoutBridge, path.join(folder, 'navinfo-service'));
  }
  return folder;
}

// Whether the package's own module loads in a fresh Node.js: { ok, reason }.
function bindingLoads() {
  const env = { ...process.env };
  delete env.NAVINFO_BUILD_DIR;
  const loader = path.join(packageRoot, 'lib', 'load-binding.js');
  const result = spawnSync(process.execPath,
    ['-e', `require(${JSON.stringify(loader)}).loadBinding('navigationinfomgr')`], { env, encoding: 'utf8' });
  const thrown = /^\w*Error: (.*)$/m.exec(result.stderr || '');
  return { ok: result.status === 0, reason: thrown ? thrown[1] : `exit status ${result.status}` };
}

module.exports = { packageRoot, DEBIAN_PACKAGES, missingForBuild, configure, build, stage, bindingLoads };
