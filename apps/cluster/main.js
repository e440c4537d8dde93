'use strict';
// navinfo-cluster: a live instrument cluster in the browser (see --help).
const {
  UsageError, parseOptions, numberOption, IDENTITY_OPTIONS, IDENTITY_USAGE, applyIdentity, runProgram, onStopSignal,
} = require('../common/command_line');
const { checkHostName } = require('./request_guard');

const USAGE = `Usage: navinfo-cluster [options]

A system application that follows a navigation application and shows its
guidance as an instrument cluster would, on a page served on this machine
(turn arrow, distance, roads, speed and limit, lanes, distance and time
left, navigation state, day or night theme), with buttons that send it
commands and queries. Open it with ?controls=0 for a cluster without
buttons (kiosk), ?units=imperial for miles and mph.

Options:
  --bundle BUNDLE    the navigation application to follow
                     (default: com.example.navigation)
  --port PORT        the page's port; 0 picks a free one (default: 8470)
  --listen ADDRESS   the address to listen on (default: 127.0.0.1; 0.0.0.0 for
                     every IPv4 address, so that another screen can reach it)
  --host NAME        a host name the page is served as, besides the loopback
                     ones (repeat for more): requests addressed to any other
                     name are refused
${IDENTITY_USAGE}
                     (default: com.example.cluster)
  -h, --help         print this help

Prints the page's URL once it listens. Stops on Ctrl-C or SIGTERM.`;

const OPTIONS = {
  bundle: { type: 'string', default: 'com.example.navigation' },
  port: { type: 'string' },
  listen: { type: 'string', default: '127.0.0.1' },
  host: { type: 'string', multiple: true, default: [] },
  help: { type: 'boolean', short: 'h' },
  ...IDENTITY_OPTIONS,
};

async function main(args) {
  const { values } = parseOptions(args, OPTIONS);
  if (values.help) {
    process.stdout.write(`${USAGE}\n`);
    return 0;
  }
  const port = numberOption(values, 'port', 8470, 0, 65535);
  applyIdentity(values, { NAVINFO_BUNDLE_NAME: 'com.example.cluster' });
  for (const name of values.host) {
    try {
      checkHostName(name);
    } catch (error) {
      throw new UsageError(error.message);
    }
  }
  const { createClient } = require('../../lib/client');
  const { createClusterServer } = require('./server');
  const client = createClient();
  const cluster = createClusterServer({ client, bundle: values.bundle, hosts: values.host });
  let url;
  try {
    url = await cluster.listen(port, values.listen);
  } catch (error) {
    await cluster.close();
    client.close();
    const message = error.code === 'EADDRINUSE' ? `port ${port} is in use: choose another with --port` : error.message;
    throw new Error(message, { cause: error });
  }
  // The first --host name is the one other screens open.
  const shown = values.host.length > 0 ? url.replace(/^http:\/\/.*:(\d+)\/$/, `http://${values.host[0]}:$1/`) : url;
  process.stdout.write(`navinfo-cluster: ${shown} follows ${values.bundle}\n`);
  onStopSignal(async () => {
    await cluster.close();
    client.close();
  });
  return undefined;
}

module.exports = { cli };

function cli(args = process.argv.slice(2)) {
  return runProgram('navinfo-cluster', () => main(args));
}

if (require.main === module) cli();
