'use strict';
// navinfo-sim: a navigation application that plays a route (see --help).
const { parseOptions, numberOption, IDENTITY_OPTIONS, IDENTITY_USAGE, applyIdentity, runProgram, onStopSignal } =
  require('../common/command_line');

const USAGE = `Usage: navinfo-sim [options]

A navigation application that drives a route: it publishes its status on
every change and its guidance (turn, distances, roads, speed and limit,
lanes, time left) at --rate records a second, and answers every query and
command of system applications.

Options:
  --route ROUTE        the route driven first: urban, highway or a file
                       (.geojson, .gpx or .kml) (default: the home route)
  --home ROUTE         the route of goHome (default: urban)
  --company ROUTE      the route of goToCompany (default: highway)
  --rate HZ            guidance records a second, 0.1 to 100 (default: 10)
  --speed-factor X     simulated seconds per real second, 0.1 to 100 (default: 1)
  --loop               start again at the destination instead of stopping
  --quiet              print only the first line and errors
${IDENTITY_USAGE}
                       (default: com.example.navigation)
  -h, --help           print this help

Without --socket (or NAVINFO_SERVICE_SOCKET) the service is embedded in this
process, where only this process sees it. Stops on Ctrl-C or SIGTERM after
publishing the status UNAVAILABLE.`;

const OPTIONS = {
  route: { type: 'string' },
  home: { type: 'string', default: 'urban' },
  company: { type: 'string', default: 'highway' },
  rate: { type: 'string' },
  'speed-factor': { type: 'string' },
  loop: { type: 'boolean', default: false },
  quiet: { type: 'boolean', default: false },
  help: { type: 'boolean', short: 'h' },
  ...IDENTITY_OPTIONS,
};

// The simulator's settings from the command line (no module loaded yet).
function readSettings(args) {
  const { values } = parseOptions(args, OPTIONS);
  return {
    help: values.help === true,
    values,
    rate: numberOption(values, 'rate', 10, 0.1, 100),
    speedFactor: numberOption(values, 'speed-factor', 1, 0.1, 100),
  };
}

// The simulator for these settings; route files are read here.
function createSimulator({ values }) {
  const { readRouteFile } = require('./route_file');
  const { Simulator } = require('./simulator');
  const routes = { home: readRouteFile(values.home), company: readRouteFile(values.company) };
  let initial = 'home';
  if (values.route !== undefined && values.route !== values.home) {
    initial = values.route === values.company ? 'company' : 'route';
    if (initial === 'route') routes.route = readRouteFile(values.route);
  }
  return new Simulator({ routes, initial, loop: values.loop });
}

function describe(simulator) {
  const { route } = simulator;
  return `"${route.name}" to ${route.destination.name}, ${(route.length / 1000).toFixed(1)} km, ${route.stretches.length - 1} turns`;
}

async function main(args) {
  const settings = readSettings(args);
  if (settings.help) {
    process.stdout.write(`${USAGE}\n`);
    return 0;
  }
  applyIdentity(settings.values, { NAVINFO_BUNDLE_NAME: 'com.example.navigation' });
  const simulator = createSimulator(settings);
  const { createClient } = require('../../lib/client');
  const { runSimulator } = require('./runner');
  const client = createClient();
  const log = settings.values.quiet ? () => {} : (line) => process.stdout.write(`navinfo-sim: ${line}\n`);
  const run = runSimulator({ client, simulator, rate: settings.rate, speedFactor: settings.speedFactor, log });
  process.stdout.write(`navinfo-sim: ${process.env.NAVINFO_BUNDLE_NAME} drives ${describe(simulator)}, ` +
    `${settings.rate} Hz${settings.speedFactor !== 1 ? `, ${settings.speedFactor}x` : ''}${settings.values.loop ? ', looping' : ''}\n`);
  onStopSignal(() => {
    run.stop();
    client.close();
  });
  return undefined;
}

module.exports = { cli, USAGE, readSettings, createSimulator, describe };

function cli(args = process.argv.slice(2)) {
  return runProgram('navinfo-sim', () => main(args));
}

if (require.main === module) cli();
