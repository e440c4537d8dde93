'use strict';
// navinfo: the command line of a system application (see --help).
const {
  UsageError, parseOptions, numberOption, IDENTITY_OPTIONS, applyIdentity, defaultDaemonSocket, runProgram, onStopSignal,
} = require('../common/command_line');
const format = require('./format');
const recordReplay = require('./record_replay');

const EXIT = { OK: 0, FAILED: 1, USAGE: 2, NOT_FOUND: 3, REFUSED: 4, UNAVAILABLE: 5, TIMED_OUT: 6 };
const EXIT_OF_RESULT = { 1003: EXIT.NOT_FOUND, 1005: EXIT.REFUSED, 1015: EXIT.REFUSED, 1002: EXIT.UNAVAILABLE, 1004: EXIT.TIMED_OUT };

const COMMON = `Options of every command:
  --socket PATH     the navinfo-service daemon's socket (NAVINFO_SERVICE_SOCKET;
                    default: the daemon's own default, ${defaultDaemonSocket()})
  --as BUNDLE       the bundle name to act as (NAVINFO_BUNDLE_NAME; default:
                    com.example.navinfo); the daemon's policy must make it a
                    system application with the navigation permission
  --token TOKEN     the token presented with it (NAVINFO_BUNDLE_TOKEN)
  --json            print JSON (one object, or one per line for watch)
  -h, --help        print help`;

const EXIT_HELP = `Exit status: 0 done (for query and cmd: the answer's code was 0); 1 the
answer's code was not 0, or another failure; 2 wrong usage; 3 no such
navigation application, or no status published; 4 refused: not a system
application, or no permission; 5 the service is not reachable; 6 timed out.`;

const COMMANDS = {
  status: { args: '<bundle>', text: 'print the latest status the navigation application published' },
  watch: { args: '<bundle>', text: 'print its status and guidance records as they come, until Ctrl-C',
    extra: `  --only KIND       status or metadata (default: both)
  --count N         stop after N records` },
  query: { args: '<bundle> <type> [params]', text: 'ask it a query and print its answer',
    extra: `  --timeout MS      give up after MS milliseconds (default: 5000)` },
  cmd: { args: '<bundle> <type> [params]', text: 'send it a command and print its answer',
    extra: `  --timeout MS      give up after MS milliseconds (default: 5000)` },
  record: { args: '<file.mcap> [bundle...]', text: 'record their status and guidance into an MCAP file, until Ctrl-C',
    extra: `  --count N         stop after N records
  --requests        also the queries and commands others send them, with their answers
  Without a bundle: every bundle whose status or guidance the service holds.` },
  replay: { args: '<file.mcap>', text: 'act as the recorded navigation application: publish its records again',
    extra: `  --speed-factor X  recorded seconds per real second (default: 1)
  --loop            start again at the end
  --from S, --to S  play from S seconds after the recording's start, up to S
  --bundle BUNDLE   the recorded bundle to play (when there are several)
  Acts as the recorded bundle unless --as is given. Queries are answered
  with the replayed status or guidance; commands with code 1 (not carried out).` },
  clients: { args: '', text: 'list the connections the daemon holds: client, pid, uid, bundle, what each does' },
  dump: { args: '', text: 'print everything the daemon holds: clients, registrations, requests waiting, latest records' },
};

function usage() {
  const lines = Object.entries(COMMANDS).map(([name, c]) => `  ${`${name} ${c.args}`.padEnd(34)}${c.text}`);
  return `Usage: navinfo <command> [arguments] [options]

Looks at and talks to navigation applications through the navinfo-service
daemon, as a system application; records them, and replays a recording as
the navigation application it recorded.

Commands:
${lines.join('\n')}
  ${'help [command]'.padEnd(34)}print help on a command

Types are the kinds' names (navigationStatus, changeTheme, ...) or their
members (NAVIGATION_STATUS, CHANGE_THEME, ...). Parameters are key=value
pairs (a value is read as JSON when it is JSON, else as text) or one JSON
object:  navinfo cmd com.example.navigation changeTheme theme=1

${COMMON}

${EXIT_HELP}`;
}

function commandUsage(name) {
  const c = COMMANDS[name];
  return `Usage: navinfo ${name} ${c.args} [options]

${c.text[0].toUpperCase()}${c.text.slice(1)}.
${c.extra ? `\n${c.extra}\n` : ''}
${COMMON}

${EXIT_HELP}`;
}

const OPTIONS = {
  json: { type: 'boolean', default: false },
  only: { type: 'string' },
  count: { type: 'string' },
  timeout: { type: 'string' },
  'speed-factor': { type: 'string' },
  loop: { type: 'boolean' },
  requests: { type: 'boolean' },
  from: { type: 'string' },
  to: { type: 'string' },
  bundle: { type: 'string' },
  help: { type: 'boolean', short: 'h' },
  ...IDENTITY_OPTIONS,
};
const COMMAND_OPTIONS = {
  watch: ['only', 'count'], query: ['timeout'], cmd: ['timeout'], record: ['count', 'requests'],
  replay: ['speed-factor', 'loop', 'from', 'to', 'bundle'],
};

// "navigationStatus" or "NAVIGATION_STATUS" to the kind's name.
function typeName(enumeration, given, what) {
  if (Object.values(enumeration).includes(given)) return given;
  if (Object.hasOwn(enumeration, given)) return enumeration[given];
  throw new UsageError(`unknown ${what} type "${given}": one of ${Object.values(enumeration).join(', ')}`);
}

function readParams(words) {
  if (words.length === 1 && words[0].trim().startsWith('{')) {
    try {
      const params = JSON.parse(words[0]);
      if (params !== null && typeof params === 'object' && !Array.isArray(params)) return params;
    } catch {
      // reported below
    }
    throw new UsageError(`parameters are not a JSON object: ${words[0]}`);
  }
  const params = {};
  for (const word of words) {
    const eq = word.indexOf('=');
    if (eq <= 0) throw new UsageError(`a parameter is key=value, not "${word}"`);
    const text = word.slice(eq + 1);
    let value = text;
    try { value = JSON.parse(text); } catch { /* text */ }
    params[word.slice(0, eq)] = value;
  }
  return params;
}

// An error of the client API as a message and an exit status.
function failure(error, socket) {
  const result = error.result;
  let hint = '';
  if (result === 1002) hint = ` (is navinfo-service running at ${socket}? --socket or NAVINFO_SERVICE_SOCKET)`;
  if (result === 1005 || result === 1015) {
    hint = ` (the daemon's policy must make ${process.env.NAVINFO_BUNDLE_NAME} a system application with the ` +
      'navigation permission for this uid: see --as and --token)';
  }
  return { message: `${error.message}${hint}`, code: EXIT_OF_RESULT[result] ?? EXIT.FAILED };
}

function print(text) {
  process.stdout.write(`${text}\n`);
}

async function request(client, kind, positionals, values, enums) {
  const [bundle, given, ...words] = positionals;
  if (given === undefined) throw new UsageError(`${kind === 'query' ? 'query' : 'cmd'} needs a bundle and a type`);
  const type = typeName(kind === 'query' ? enums.QueryType : enums.CommandType, given, kind);
  const params = readParams(words);
  const timeout = numberOption(values, 'timeout', 5000, 1, 600000);
  const answer = await client[kind](bundle, type, params, { timeout });
  print(values.json ? JSON.stringify(answer) : format.answerReport(answer));
  return answer.code === 0 ? EXIT.OK : EXIT.FAILED;
}

function watch(client, bundle, values) {
  const count = numberOption(values, 'count', Infinity, 1, Number.MAX_SAFE_INTEGER);
  if (values.only !== undefined && values.only !== 'status' && values.only !== 'metadata') {
    throw new UsageError(`--only takes status or metadata, not "${values.only}"`);
  }
  const kinds = values.only ? [values.only] : ['status', 'metadata'];
  return new Promise((resolve) => {
    let seen = 0;
    const subscriptions = [];
    const stop = () => {
      for (const s of subscriptions) s.close();
      resolve(EXIT.OK);
    };
    for (const kind of kinds) {
      const sub = kind === 'status' ? client.followStatus(bundle) : client.followMetadata(bundle);
      subscriptions.push(sub);
      sub.on(kind, (record) => {
        if (seen >= count) return;
        seen++;
        const at = new Date();
        print(values.json ? JSON.stringify({ time: at.toISOString(), bundle, kind, record }) : format.recordLine(kind, record, at));
        if (seen >= count) stop();
      });
    }
    process.stderr.write(`navinfo: watching ${bundle} (${kinds.join(' and ')}); Ctrl-C stops\n`);
    onStopSignal(stop);
  });
}

async function main(args) {
  const { values, positionals } = parseOptions(args, OPTIONS, true);
  let [command, ...rest] = positionals;
  if (command === 'help') {
    command = rest[0];
    if (command !== undefined && !COMMANDS[command]) throw new UsageError(`no command "${command}"`);
    print(command ? commandUsage(command) : usage());
    return EXIT.OK;
  }
  if (values.help) {
    print(command && COMMANDS[command] ? commandUsage(command) : usage());
    return EXIT.OK;
  }
  if (command === undefined) throw new UsageError('no command given');
  if (!COMMANDS[command]) throw new UsageError(`no command "${command}"`);
  for (const option of ['only', 'count', 'timeout', 'speed-factor', 'loop', 'from', 'to', 'bundle', 'requests']) {
    if (values[option] !== undefined && !(COMMAND_OPTIONS[command] || []).includes(option)) {
      throw new UsageError(`${command} takes no --${option}`);
    }
  }
  const needsBundle = !['clients', 'dump', 'record', 'replay'].includes(command);
  if (needsBundle && rest.length === 0) throw new UsageError(`${command} needs a bundle name`);
  if (['record', 'replay'].includes(command) && rest.length === 0) throw new UsageError(`${command} needs a file name`);
  if (!needsBundle && rest.length > 0 && ['clients', 'dump'].includes(command)) throw new UsageError(`${command} takes no arguments`);
  if (['status', 'watch'].includes(command) && rest.length > 1) throw new UsageError(`${command} takes one bundle name`);

  // A replay acts as the navigation application it replays.
  const replaying = command === 'replay' ? recordReplay.prepareReplay(rest, values) : null;
  if (replaying && values.as === undefined) values.as = replaying.plan.bundle;
  applyIdentity(values, { NAVINFO_SERVICE_SOCKET: defaultDaemonSocket(), NAVINFO_BUNDLE_NAME: 'com.example.navinfo' });
  // This program tells what failed itself; the library's own warnings would only repeat it.
  if (process.env.HILOG_LEVEL === undefined) process.env.HILOG_LEVEL = 'error';
  const socket = process.env.NAVINFO_SERVICE_SOCKET;
  const clientApi = require('../../lib/client');
  const client = clientApi.createClient();
  try {
    switch (command) {
      case 'status': {
        const found = client.getStatus(rest[0]);
        if (found === null) {
          process.stderr.write(`navinfo: ${rest[0]} has published no status\n`);
          return EXIT.NOT_FOUND;
        }
        print(values.json ? JSON.stringify(found) : format.statusReport(rest[0], found.status, found.updatedAt));
        return EXIT.OK;
      }
      case 'watch': return await watch(client, rest[0], values);
      case 'query': return await request(client, 'query', rest, values, clientApi);
      case 'cmd': return await request(client, 'command', rest, values, clientApi);
      case 'record': return await recordReplay.record(client, rest, values, EXIT);
      case 'replay': return await recordReplay.replay(client, replaying, EXIT);
      default: {
        const snapshot = client.inspectService();
        if (values.json) print(JSON.stringify(snapshot));
        else print(command === 'clients' ? format.clientsReport(snapshot) : format.dumpReport(snapshot));
        return EXIT.OK;
      }
    }
  } catch (error) {
    if (error instanceof UsageError || error.result === undefined) throw error;
    const { message, code } = failure(error, socket);
    process.stderr.write(`navinfo: ${message}\n`);
    return code;
  } finally {
    client.close();
  }
}

module.exports = { cli, EXIT };

function cli(args = process.argv.slice(2)) {
  return runProgram('navinfo', () => main(args));
}

if (require.main === module) cli();
