'use strict';
// The live cluster's web server: follows one navigation application through
// the client API and passes every status and metadata record to the pages
// that are open, as server-sent events (GET /events, event_streams.js). The
// pages' buttons send queries and commands through it (POST /api/query,
// /api/command) and show the answers. Nothing is polled: records arrive as
// the service delivers them. Who may do what: request_guard.js.
const fs = require('node:fs');
const http = require('node:http');
const path = require('node:path');
const { TurnMode, TURN_MODE_TEXT } = require('../sim/turn_modes');
const { createRequestGuard } = require('./request_guard');
const { readJsonObject } = require('./json_body');
const { createEventStreams, frameOf } = require('./event_streams');

const PAGE_DIR = path.join(__dirname, 'page');
const STATIC = {
  '/cluster.css': ['cluster.css', 'text/css; charset=utf-8'],
  '/cluster.js': ['cluster.js', 'text/javascript; charset=utf-8'],
};
const TOKEN_PLACEHOLDER = '{{PAGE_TOKEN}}';
const REQUEST_TIMEOUT_MS = 5000;
// The page runs its own script and style only, and in no other site's frame.
const PAGE_HEADERS = {
  'cache-control': 'no-store',
  'x-content-type-options': 'nosniff',
  'content-security-policy': "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'",
  'referrer-policy': 'no-referrer',
};

function sendJson(response, status, body, headers = {}) {
  response.writeHead(status, { 'content-type': 'application/json; charset=utf-8', 'cache-control': 'no-store', ...headers });
  response.end(JSON.stringify(body));
}
const refuse = (response, status, message, headers) => sendJson(response, status, { ok: false, error: { message } }, headers);

// client: a NavigationClient of a system application; bundle: the
// navigation application to follow; hosts: host names served besides the
// loopback ones; streams: limits of the event streams (event_streams.js).
// Throws when following is refused or the service cannot be reached, or
// for a host name that is none.
function createClusterServer({ client, bundle, hosts = [], streams: streamLimits = {}, log = () => {} }) {
  const guard = createRequestGuard(hosts);
  const streams = createEventStreams(streamLimits);
  const pageText = fs.readFileSync(path.join(PAGE_DIR, 'index.html'), 'utf8');
  let lastStatus = null;
  let lastMetadata = null;

  const statusSub = client.followStatus(bundle);
  statusSub.on('status', (status) => {
    lastStatus = { status, receivedAt: Date.now() };
    streams.broadcast('status', lastStatus);
  });
  const metadataSub = client.followMetadata(bundle);
  metadataSub.on('metadata', (metadata) => {
    lastMetadata = { metadata, receivedAt: Date.now() };
    streams.broadcast('metadata', lastMetadata);
  });

  function openEvents(request, response) {
    const first = [frameOf('hello', { bundle, turnModes: TurnMode, turnText: TURN_MODE_TEXT })];
    if (lastStatus) first.push(frameOf('status', lastStatus));
    if (lastMetadata) first.push(frameOf('metadata', lastMetadata));
    streams.open(request, response, first);
  }

  async function forward(kind, request, response) {
    const { type, params = {} } = await readJsonObject(request);
    if (typeof type !== 'string' || params === null || typeof params !== 'object' || Array.isArray(params)) {
      refuse(response, 400, 'expected { "type": string, "params": object }');
      return;
    }
    try {
      const answer = kind === 'query'
        ? await client.query(bundle, type, params, { timeout: REQUEST_TIMEOUT_MS })
        : await client.command(bundle, type, params, { timeout: REQUEST_TIMEOUT_MS });
      log(`${kind} ${type} -> ${answer.code} ${answer.message}`);
      sendJson(response, 200, { ok: true, answer });
    } catch (error) {
      log(`${kind} ${type} failed: ${error.message}`);
      const status = error.code === 'ERR_INVALID_ARG_VALUE' || error.code === 'ERR_INVALID_ARG_TYPE' ? 400 : 502;
      sendJson(response, status, { ok: false, error: { code: error.code, result: error.result, message: error.message } });
    }
  }

  function handle(request, response) {
    const hostRefusal = guard.checkHost(request);
    if (hostRefusal) {
      refuse(response, 403, hostRefusal);
      return;
    }
    const url = new URL(request.url, 'http://localhost');
    if (request.method === 'GET' && url.pathname === '/') {
      response.writeHead(200, { 'content-type': 'text/html; charset=utf-8', ...PAGE_HEADERS });
      response.end(pageText.replace(TOKEN_PLACEHOLDER, guard.issueToken()));
    } else if (request.method === 'GET' && STATIC[url.pathname]) {
      const [file, type] = STATIC[url.pathname];
      fs.readFile(path.join(PAGE_DIR, file), (error, data) => {
        if (error) {
          refuse(response, 500, `cannot read ${file}`);
          return;
        }
        response.writeHead(200, { 'content-type': type, ...PAGE_HEADERS });
        response.end(data);
      });
    } else if (request.method === 'GET' && url.pathname === '/events') {
      openEvents(request, response);
    } else if (request.method === 'POST' && (url.pathname === '/api/query' || url.pathname === '/api/command')) {
      const refusal = guard.checkFromPage(request);
      if (refusal) {
        refuse(response, ...refusal);
        return;
      }
      forward(url.pathname === '/api/query' ? 'query' : 'command', request, response).catch((error) => {
        if (error.status) {
          // The server drains an unread rest of the body, then closes.
          refuse(response, error.status, error.message, { connection: 'close' });
        } else {
          log(`${url.pathname} failed: ${error.stack || error}`);
          refuse(response, 500, 'internal error of the cluster server');
        }
      });
    } else {
      refuse(response, 404, `no ${request.method} ${url.pathname}`);
    }
  }

  const server = http.createServer(handle);

  return {
    server,
    // Resolves with the page's URL.
    listen(port = 0, host = '127.0.0.1') {
      return new Promise((resolve, reject) => {
        server.once('error', reject);
        server.listen(port, host, () => {
          server.removeListener('error', reject);
          const address = server.address();
          resolve(`http://${host.includes(':') ? `[${host}]` : host}:${address.port}/`);
        });
      });
    },
    close() {
      statusSub.close();
      metadataSub.close();
      streams.close();
      return new Promise((resolve) => server.close(() => resolve()));
    },
  };
}

module.exports = { createClusterServer };
