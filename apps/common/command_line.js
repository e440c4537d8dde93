'use strict';
// What the three programs (navinfo-sim, navinfo-cluster, navinfo) share on
// their command lines: option parsing with usage errors that exit 2, and
// the identity options that must reach the environment before the module
// is loaded (the client library reads it at its first call).
const os = require('node:os');
const path = require('node:path');
const { parseArgs } = require('node:util');

const EXIT_USAGE = 2;

class UsageError extends Error {}

// parseArgs, with its errors turned into UsageError.
function parseOptions(args, options, allowPositionals = false) {
  try {
    return parseArgs({ args, options, allowPositionals, strict: true });
  } catch (error) {
    throw new UsageError(error.message.replace(/\. To specify a positional argument.*$/s, ''));
  }
}

// A number option within [min, max], or fallback when absent.
function numberOption(values, name, fallback, min, max) {
  if (values[name] === undefined) return fallback;
  const value = Number(values[name]);
  if (!(value >= min && value <= max)) throw new UsageError(`--${name} must be a number from ${min} to ${max}, not "${values[name]}"`);
  return value;
}

const IDENTITY_OPTIONS = {
  socket: { type: 'string' },
  as: { type: 'string' },
  token: { type: 'string' },
};

const IDENTITY_USAGE = `  --socket PATH      use the navinfo-service daemon at PATH (NAVINFO_SERVICE_SOCKET)
  --as BUNDLE        the bundle name this program acts as (NAVINFO_BUNDLE_NAME)
  --token TOKEN      the token presented with it to the daemon (NAVINFO_BUNDLE_TOKEN)`;

// Puts --socket, --as and --token into the environment; `defaults` fills
// what neither the options nor the environment give.
function applyIdentity(values, defaults = {}) {
  const set = (variable, value) => {
    if (value !== undefined) process.env[variable] = value;
    else if (process.env[variable] === undefined && defaults[variable] !== undefined) process.env[variable] = defaults[variable];
  };
  set('NAVINFO_SERVICE_SOCKET', values.socket);
  set('NAVINFO_BUNDLE_NAME', values.as);
  set('NAVINFO_BUNDLE_TOKEN', values.token);
}

// Where navinfo-service listens unless told otherwise.
function defaultDaemonSocket() {
  const runtime = process.env.XDG_RUNTIME_DIR;
  return runtime ? path.join(runtime, 'navinfo-service.sock') : `/tmp/navinfo-service-${os.userInfo().uid}.sock`;
}

// Runs main(); a UsageError prints "<program>: <message>" and a hint and
// exits 2, any other error prints "<program>: <message>" and exits 1.
async function runProgram(program, main) {
  try {
    const code = await main();
    if (typeof code === 'number') process.exitCode = code;
  } catch (error) {
    if (error instanceof UsageError) {
      process.stderr.write(`${program}: ${error.message}\nTry '${program} --help'.\n`);
      process.exitCode = EXIT_USAGE;
    } else {
      process.stderr.write(`${program}: ${error.message}\n`);
      process.exitCode = 1;
    }
  }
}

// Calls stop() once on SIGINT or SIGTERM; a second signal ends at once.
// A program started with an IPC channel (by the test drive) also stops when
// the channel closes: its parent ended, however it ended (SIGKILL included).
function onStopSignal(stop) {
  let stopping = false;
  const begin = (reason) => {
    stopping = true;
    // The channel would keep the program running after stop().
    if (process.connected) process.disconnect();
    stop(reason);
  };
  const handler = (signal) => {
    if (stopping) process.exit(128 + os.constants.signals[signal]);
    begin(signal);
  };
  process.on('SIGINT', handler);
  process.on('SIGTERM', handler);
  if (process.connected) {
    process.on('disconnect', () => {
      if (!stopping) begin('disconnect');
    });
  }
}

module.exports = {
  UsageError, parseOptions, numberOption, IDENTITY_OPTIONS, IDENTITY_USAGE, applyIdentity, defaultDaemonSocket,
  runProgram, onStopSignal, EXIT_USAGE,
};
