'use strict';
// Finds the package's native binaries by name: the Node-API modules (for
// example 'navigationinfomgr', the module itself) and the programs (for
// example 'navinfo-service'). They live together in one folder,
// prebuilds/<platform>-<arch>/, where each finds the shared libraries beside
// it: shipped in the package, or built there from source by the install
// script when none fits the machine. NAVINFO_BUILD_DIR names a CMake build
// folder to use instead (modules from its lib/, programs from its bin/), for
// development and the tests; nothing else is looked up in a build folder.
const fs = require('fs');
const path = require('path');

const packageRoot = path.join(__dirname, '..');
const { name: packageName, binary } = require('../package.json');
const napiVersion = binary.napi_versions[0];

function platformTag() {
  return `${process.platform}-${process.arch}`;
}

// The folder that the package's own binaries for this machine live in.
function prebuildFolder() {
  return path.join(packageRoot, 'prebuilds', platformTag());
}

// Where the file of one binary is: kind is 'lib' for a module or a shared
// library, 'bin' for a program (the subfolders of a build folder).
function binaryPath(file, kind) {
  const buildDir = process.env.NAVINFO_BUILD_DIR;
  return buildDir ? path.resolve(buildDir, kind, file) : path.join(prebuildFolder(), file);
}

function missingBinaryError(file) {
  const where = path.dirname(file);
  const fix = process.env.NAVINFO_BUILD_DIR
    ? 'build it there (scripts/build.sh), or unset NAVINFO_BUILD_DIR to use the installed binaries'
    : `run 'npm rebuild ${packageName}' to build it from source (needs CMake, a C++17 compiler and ` +
      'nlohmann-json), or set NAVINFO_BUILD_DIR to a CMake build folder';
  const error = new Error(`${packageName}: no native binary ${path.basename(file)} for ${platformTag()} ` +
    `(Node-API ${napiVersion}) in ${where}: ${fix}`);
  error.code = 'ERR_NAVINFO_NO_BINARY';
  return error;
}

// Where the install step records which file runs under a program's name,
// when the package ships more than one build of it (navinfo-service with and
// without its DDS bridge; scripts/daemon-variant.js): { "<name>": "<file>" }
// in the binary folder.
const PROGRAM_CHOICES = 'programs.json';

function chosenProgramFile(name) {
  try {
    const chosen = JSON.parse(fs.readFileSync(path.join(prebuildFolder(), PROGRAM_CHOICES), 'utf8'))[name];
    if (typeof chosen === 'string' && /^[\w.-]+$/.test(chosen)) return chosen;
  } catch {
    // nothing recorded (or unreadable): the file of the program's own name
  }
  return name;
}

// The path of a packaged program, for example 'navinfo-service'.
function executablePath(name) {
  const file = binaryPath(process.env.NAVINFO_BUILD_DIR ? name : chosenProgramFile(name), 'bin');
  if (!fs.existsSync(file)) throw missingBinaryError(file);
  return file;
}

// Loads the Node-API module <name>.node.
function loadBinding(name) {
  const available = Number(process.versions.napi);
  if (!(available >= napiVersion)) {
    throw new Error(`${packageName} needs Node-API ${napiVersion}; Node.js ${process.version} ` +
      `has Node-API ${process.versions.napi}`);
  }
  const file = binaryPath(`${name}.node`, 'lib');
  if (!fs.existsSync(file)) throw missingBinaryError(file);
  return require(file);
}

module.exports = { loadBinding, executablePath, prebuildFolder, platformTag, napiVersion, PROGRAM_CHOICES };
