'use strict';
// The live cluster's web server: follows one navigation application through
// the client API and passes every status and metadata record to the pages
// that are open, as server-sent events (GET /events). The pages' buttons
// send queries and commands through it (POST /api/query, /api/command) and
// show the answers. Nothing is polled: records arrive as the service
// delivers them. Serves only loopback host names, so that another site
// cannot reach it through a rebound DNS name.
const fs = require('node:fs');
const http = require('node:http');
const path = require('node:path');
const { TurnMode, TURN_MODE_TEXT } = require('../sim/turn_modes');

const PAGE_DIR = path.join(__dirname, 'page');
const STATIC = {
  '/': ['index.html', 'text/html; charset=utf-8'],
  '/cluster.css': ['cluster.css', 'text/css; charset=utf-8'],
  '/cluster.js': ['cluster.js', 'text/javascript; charset=utf-8'],
};
const MAX_BODY_BYTES = 64 * 1024;
const REQUEST_TIMEOUT_MS = 5000;
const HEARTBEAT_MS = 15000; // keeps idle proxies and browsers from dropping the stream
const LOOPBACK_HOST = /^(localhost|127\.\d+\.\d+\.\d+|\[::1\])(:\d+)?$/i;

function sendJson(response, status, body) {
  const text = JSON.stringify(body);
  response.writeHead(status, { 'content-type': 'application/json; charset=utf-8', 'cache-control': 'no-store' });
  response.end(text);
}

function readJsonBody(request) {
  return new Promise((resolve, reject) => {
    let size = 0;
    const chunks = [];
    request.on('data', (chunk) => {
      size += chunk.length;
      if (size > MAX_BODY_BYTES) {
        reject(Object.assign(new Error('request body too large'), { status: 413 }));
        request.destroy();
        return;
      }
      chunks.push(chunk);
    });
    request.on('end', () => {
      try {
        resolve(JSON.parse(Buffer.concat(chunks).toString('utf8') || '{}'));
      } catch {
        reject(Object.assign(new Error('the body is not JSON'), { status: 400 }));
      }
    });
    request.on('error', reject);
  });
}

// client: a NavigationClient of a system application; bundle: the
// navigation application to follow. Throws when following is refused or
// the service cannot be reached.
function createClusterServer({ client, bundle, log = () => {} }) {
  const pages = new Set(); // open event streams
  let lastStatus = null;
  let lastMetadata = null;

  const broadcast = (event, data) => {
    const frame = `event: ${event}\ndata: ${JSON.stringify(data)}\n\n`;
    for (const page of pages) page.write(frame);
  };
  const statusSub = client.followStatus(bundle);
  statusSub.on('status', (status) => {
    lastStatus = { status, receivedAt: Date.now() };
    broadcast('status', lastStatus);
  });
  const metadataSub = client.followMetadata(bundle);
  metadataSub.on('metadata', (metadata) => {
    lastMetadata = { metadata, receivedAt: Date.now() };
    broadcast('metadata', lastMetadata);
  });

  function openEvents(request, response) {
    response.writeHead(200, { 'content-type': 'text/event-stream', 'cache-control': 'no-store', connection: 'keep-alive' });
    response.write(`event: hello\ndata: ${JSON.stringify({ bundle, turnModes: TurnMode, turnText: TURN_MODE_TEXT })}\n\n`);
    if (lastStatus) response.write(`event: status\ndata: ${JSON.stringify(lastStatus)}\n\n`);
    if (lastMetadata) response.write(`event: metadata\ndata: ${JSON.stringify(lastMetadata)}\n\n`);
    pages.add(response);
    const heartbeat = setInterval(() => response.write(': heartbeat\n\n'), HEARTBEAT_MS);
    request.on('close', () => {
      clearInterval(heartbeat);
      pages.delete(response);
    });
  }

  async function forward(kind, request, response) {
    const body = await readJsonBody(request);
    const { type, params = {} } = body;
    if (typeof type !== 'string' || params === null || typeof params !== 'object' || Array.isArray(params)) {
      sendJson(response, 400, { ok: false, error: { message: 'expected { "type": string, "params": object }' } });
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

  const server = http.createServer((request, response) => {
    if (!LOOPBACK_HOST.test(request.headers.host || '')) {
      sendJson(response, 403, { ok: false, error: { message: 'only loopback host names are served' } });
      return;
    }
    const url = new URL(request.url, 'http://localhost');
    if (request.method === 'GET' && STATIC[url.pathname]) {
      const [file, type] = STATIC[url.pathname];
      fs.readFile(path.join(PAGE_DIR, file), (error, data) => {
        if (error) {
          sendJson(response, 500, { ok: false, error: { message: `cannot read ${file}` } });
          return;
        }
        response.writeHead(200, { 'content-type': type, 'cache-control': 'no-store' });
        response.end(data);
      });
    } else if (request.method === 'GET' && url.pathname === '/events') {
      openEvents(request, response);
    } else if (request.method === 'POST' && (url.pathname === '/api/query' || url.pathname === '/api/command')) {
      forward(url.pathname === '/api/query' ? 'query' : 'command', request, response).catch((error) => {
        sendJson(response, error.status || 500, { ok: false, error: { message: error.message } });
      });
    } else {
      sendJson(response, 404, { ok: false, error: { message: `no ${request.method} ${url.pathname}` } });
    }
  });

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
      for (const page of pages) page.end();
      pages.clear();
      return new Promise((resolve) => server.close(() => resolve()));
    },
  };
}

module.exports = { createClusterServer };
