'use strict';
// Plays a Simulator through the client API: drives it on a timer, publishes
// its guidance on every tick and its status on every change, and answers
// the queries and commands of system applications with it.
const { performance } = require('node:perf_hooks');

const UNAVAILABLE = 5; // MapStatus.UNAVAILABLE

// options: rate (ticks and metadata records per second), speedFactor
// (simulated seconds per real second), log (one line per event).
// Returns { stop() }, which publishes the status UNAVAILABLE and stops
// serving. Throws when the service refuses or cannot be reached.
function runSimulator({ client, simulator, rate = 10, speedFactor = 1, log = () => {} }) {
  let publishedVersion = 0;
  const publishStatus = () => {
    if (!simulator.publishingStatus || simulator.statusVersion === publishedVersion) return;
    client.publishStatus(simulator.status());
    publishedVersion = simulator.statusVersion;
  };

  const server = client.serve((request) => {
    const { kind, type, params } = request;
    const answer = kind === 'query' ? simulator.handleQuery(type, params) : simulator.handleCommand(type, params);
    log(`${kind} ${type}${Object.keys(params).length ? ` ${JSON.stringify(params)}` : ''} -> ${answer.code} ${answer.message}`);
    publishStatus();
    return answer;
  });
  server.on('handlerError', (error, request) => log(`${request.kind} ${request.type} failed: ${error.message}`));

  publishStatus();
  let last = performance.now();
  const timer = setInterval(() => {
    const now = performance.now();
    const seconds = ((now - last) / 1000) * speedFactor;
    last = now;
    const wasNavigating = simulator.navigating;
    const metadata = simulator.tick(seconds);
    if (metadata !== null) client.publishMetadata(metadata);
    if (wasNavigating && !simulator.navigating) log(`arrived at ${simulator.route.destination.name}`);
    publishStatus();
  }, 1000 / rate);

  return {
    stop() {
      clearInterval(timer);
      try {
        client.publishStatus({ ...simulator.status(), status: UNAVAILABLE });
      } catch {
        // Refused or gone: nobody to tell.
      }
      server.close();
    },
  };
}

module.exports = { runSimulator };
