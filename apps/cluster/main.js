'use strict';
// navinfo-cluster: a live instrument cluster in the browser (see --help).
const { parseOptions, numberOption, IDENTITY_OPTIONS, IDENTITY_USAGE, applyIdentity, runProgram, onStopSignal } =
  require('../common/command_line');

const USAGE = `Usage: navinfo-cluster [options]

A system application that follows a navigation application and shows its
guidance as an instrument cluster would, on a page served on this machine
(turn arrow, distance, roads, speed and limit, lanes, distance and time
left, navigation state, day or night theme), with buttons that send it
commands and queries.

Options:
  --bundle BUNDLE    the navigation application to follow
                     (default: com.example.navigation)
  --port PORT        the page's port on 127.0.0.1; 0 picks a free one (default: 8470)
  --host HOST        the address to listen on (default: 127.0.0.1)
${IDENTITY_USAGE}
                     (default: com.example.cluster)
  -h, --help         print this help

Prints the page's URL once it listens. Stops on Ctrl-C or SIGTERM.`;

const OPTIONS = {
  bundle: { type: 'string', default: 'com.example.navigation' },
  port: { type: 'string' },
  host: { type: 'string', default: '127.0.0.1' },
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
  const { createClient } = require('../../lib/client');
  const { createClusterServer } = require('./server');
  const client = createClient();
  const cluster = createClusterServer({ client, bundle: values.bundle });
  let url;
  try {
    url = await cluster.listen(port, values.host);
  } catch (error) {
    await cluster.close();
    client.close();
    const message = error.code === 'EADDRINUSE' ? `port ${port} is in use: choose another with --port` : error.message;
    throw new Error(message, { cause: error });
  }
  process.stdout.write(`navinfo-cluster: ${url} follows ${values.bundle}\n`);
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
