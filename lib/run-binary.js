'use strict';
// Runs one of the package's programs for a bin entry: the arguments, the
// standard streams and the environment pass through, the usual stop and
// reload signals sent to this process are passed on to the program, and this
// process ends as the program did (its exit status, or the same signal).
const { spawn } = require('child_process');
const os = require('os');
const { executablePath } = require('./load-binding');

const FORWARDED_SIGNALS = ['SIGINT', 'SIGTERM', 'SIGHUP', 'SIGQUIT', 'SIGUSR2'];

function runBinary(name, args = process.argv.slice(2)) {
  let file;
  try {
    file = executablePath(name);
  } catch (error) {
    process.stderr.write(`${error.message}\n`);
    process.exit(1);
  }
  const child = spawn(file, args, { stdio: 'inherit' });
  const forward = (signal) => child.kill(signal);
  for (const signal of FORWARDED_SIGNALS) process.on(signal, forward);
  child.once('error', (error) => {
    process.stderr.write(`${name}: cannot start ${file}: ${error.message}\n`);
    process.exit(1);
  });
  child.once('exit', (code, signal) => {
    for (const s of FORWARDED_SIGNALS) process.removeListener(s, forward);
    if (signal) {
      // The shell's convention, for a signal this process cannot die of.
      process.exitCode = 128 + (os.constants.signals[signal] || 0);
      process.kill(process.pid, signal);
      return;
    }
    if (code === 127 && file.endsWith('-dds')) {
      // The dynamic loader's own line says which library; this says what to do.
      process.stderr.write(`${name}: this is the build with the DDS bridge, which needs Cyclone DDS's library ` +
        "(libddsc; Debian: libddsc0debian). Install it, or choose the build without the bridge: " +
        'NAVINFO_DDS_BRIDGE=0 npm rebuild navigation-info-mgr\n');
    }
    process.exit(code);
  });
}

module.exports = { runBinary };
