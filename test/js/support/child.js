'use strict';
// Runs a script in a child Node process with the module's build folder, a
// deadline, and extra environment; returns its status and output.
const { spawnSync } = require('node:child_process');
const paths = require('./paths');

function runScript(source, { env = {}, timeoutMs = 20000 } = {}) {
  const result = spawnSync(process.execPath, ['-e', source], {
    encoding: 'utf8',
    timeout: timeoutMs,
    env: { ...process.env, NAVINFO_BUILD_DIR: paths.buildDir, NAVINFO_ROOT: paths.root, ...env },
  });
  return {
    status: result.status,
    signal: result.signal,
    timedOut: Boolean(result.error && result.error.code === 'ETIMEDOUT'),
    stdout: result.stdout,
    stderr: result.stderr,
  };
}

module.exports = { runScript };
