'use strict';
// The test drive: the route simulator and the live cluster together (see
// --help). By default both run in this process on the embedded service; with
// --daemon, navinfo-service, navinfo-sim and navinfo-cluster run as three
// processes, so that the navinfo command line can watch and poke them too.
const { UsageError, parseOptions, numberOption, runProgram, onStopSignal } = require('../common/command_line');
const { checkHostName } = require('../cluster/request_guard');

const USAGE = `Usage: navinfo-testdrive [options]   (in a checkout: scripts/run.sh [options])

Drives a route with the simulator and shows it on the live cluster page:
open the printed URL in a browser (?controls=0 for a cluster without
buttons, ?units=imperial for miles and mph). Stops everything on Ctrl-C or
SIGTERM; with --daemon, its processes and its temporary folder also go when
it is killed.

Options:
  --daemon             run navinfo-service, the simulator and the cluster as
                       separate processes (then try the navinfo command line)
  --port PORT          the cluster page's port (default: 8470, else a free one)
  --listen ADDRESS     the address the page is served on (default: 127.0.0.1)
  --host NAME          a host name the page is served as, besides the loopback
                       ones (repeat for more)
  --route ROUTE        the route driven first: urban, highway or a file
  --speed-factor X     simulated seconds per real second (default: 1)
  -h, --help           print this help`;

const OPTIONS = {
  daemon: { type: 'boolean', default: false },
  port: { type: 'string' },
  listen: { type: 'string' },
  host: { type: 'string', multiple: true, default: [] },
  route: { type: 'string' },
  'speed-factor': { type: 'string' },
  help: { type: 'boolean', short: 'h' },
};

const NAV_BUNDLE = 'com.example.navigation';

async function main(args) {
  const { values } = parseOptions(args, OPTIONS);
  if (values.help) {
    process.stdout.write(`${USAGE}\n`);
    return 0;
  }
  const settings = {
    port: numberOption(values, 'port', undefined, 0, 65535),
    speedFactor: numberOption(values, 'speed-factor', 1, 0.1, 100),
    route: values.route,
    listen: values.listen,
    hosts: values.host.map((name) => {
      try {
        return checkHostName(name);
      } catch (error) {
        throw new UsageError(error.message);
      }
    }),
  };
  if (values.daemon) {
    await require('./separate_processes').run(settings);
  } else {
    await runInOneProcess(settings);
  }
  return undefined;
}

// Listens on the wanted port, or the default one and else any free one.
async function listenCluster(cluster, port, address = '127.0.0.1') {
  if (port !== undefined) return cluster.listen(port, address);
  try {
    return await cluster.listen(8470, address);
  } catch (error) {
    if (error.code !== 'EADDRINUSE') throw error;
    return cluster.listen(0, address);
  }
}

async function runInOneProcess({ port, speedFactor, route, hosts, listen }) {
  if (process.env.NAVINFO_BUNDLE_NAME === undefined) process.env.NAVINFO_BUNDLE_NAME = NAV_BUNDLE;
  const { createSimulator, describe } = require('../sim/main');
  const simulator = createSimulator({ values: { home: 'urban', company: 'highway', route, loop: true } });
  const { createClient } = require('../../lib/client');
  const { runSimulator } = require('../sim/runner');
  const { createClusterServer } = require('../cluster/server');
  const client = createClient();
  const log = (line) => process.stdout.write(`[sim] ${line}\n`);
  const sim = runSimulator({ client, simulator, speedFactor, log });
  const cluster = createClusterServer({ client, bundle: process.env.NAVINFO_BUNDLE_NAME, hosts });
  const url = await listenCluster(cluster, port, listen);
  process.stdout.write(`Test drive: ${describe(simulator)} (one process, embedded service)\n`);
  process.stdout.write(`Open the cluster: ${url}\n(Ctrl-C stops)\n`);
  onStopSignal(async () => {
    sim.stop();
    await cluster.close();
    client.close();
    process.stdout.write('Test drive stopped.\n');
  });
}

module.exports = { cli, listenCluster, NAV_BUNDLE };

function cli(args = process.argv.slice(2)) {
  return runProgram('navinfo-testdrive', () => main(args));
}

if (require.main === module) cli();
