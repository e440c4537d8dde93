'use strict';
// What the cluster's server answers, as a table of requests: only the page
// it served may send queries and commands (same origin, its token, JSON),
// bodies over the limit and malformed ones get a short refusal, and only
// the host names it serves are answered. The simulator plays the
// navigation application on the embedded service.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const http = require('node:http');
const { createClient } = require('navigation-info-mgr/client');
const { createSimulator } = require('../../apps/sim/main');
const { runSimulator } = require('../../apps/sim/runner');
const { createClusterServer } = require('../../apps/cluster/server');

const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const SERVED_NAME = 'cluster.example';

let client;
let run;
let loopbackOnly; // served as the loopback names only
let withHost; // also served as SERVED_NAME
let token;

// One request to port with the given Host; resolves { status, body, error }
// (error: how the connection failed instead of answering).
function request(port, { method = 'GET', path = '/', host = `127.0.0.1:${port}`, headers = {}, body, chunked = false }) {
  return new Promise((resolve) => {
    const outgoing = http.request({ port, method, path, headers: { host, ...headers }, agent: false }, (response) => {
      let text = '';
      response.setEncoding('utf8');
      response.on('data', (chunk) => { text += chunk; });
      response.on('end', () => resolve({ status: response.statusCode, body: text }));
    });
    outgoing.on('error', (error) => resolve({ status: null, error: error.code || error.message }));
    if (body !== undefined && !chunked) outgoing.setHeader('content-length', Buffer.byteLength(body));
    if (body !== undefined) outgoing.write(body);
    outgoing.end();
  });
}

const portOf = (cluster) => cluster.server.address().port;

before(async () => {
  client = createClient();
  const simulator = createSimulator({ values: { home: 'urban', company: 'highway', loop: true } });
  run = runSimulator({ client, simulator, rate: 10 });
  loopbackOnly = createClusterServer({ client, bundle: BUNDLE });
  withHost = createClusterServer({ client, bundle: BUNDLE, hosts: [SERVED_NAME] });
  await loopbackOnly.listen(0);
  await withHost.listen(0);
  const page = await request(portOf(loopbackOnly), {});
  token = /<meta name="navinfo-token" content="([^"]+)">/.exec(page.body)[1];
});

after(async () => {
  run.stop();
  await loopbackOnly.close();
  await withHost.close();
  client.close();
});

test('who may use the cluster: a table of requests and their answers', async () => {
  const port = portOf(loopbackOnly);
  const origin = `http://127.0.0.1:${port}`;
  const fromPage = { 'content-type': 'application/json', origin, 'sec-fetch-site': 'same-origin', 'x-navinfo-token': token };
  const query = JSON.stringify({ type: 'navigationStatus', params: {} });
  const big = JSON.stringify({ type: 'navigationStatus', params: { pad: 'x'.repeat(70 * 1024) } });
  const rows = [
    // [what, server, request, status, message (part of it)]
    ['the page\'s own query', loopbackOnly, { method: 'POST', path: '/api/query', headers: fromPage, body: query }, 200],
    ['a cross-site text/plain POST (a form on another site)', loopbackOnly,
      { method: 'POST', path: '/api/command', body: JSON.stringify({ type: 'stopNavigation' }),
        headers: { 'content-type': 'text/plain', origin: 'http://evil.example', 'sec-fetch-site': 'cross-site' } },
      403, 'cross-site'],
    ['another origin, even with the token', loopbackOnly,
      { method: 'POST', path: '/api/query', body: query, headers: { ...fromPage, origin: 'http://evil.example', 'sec-fetch-site': undefined } },
      403, 'cross-site'],
    ['no token', loopbackOnly,
      { method: 'POST', path: '/api/query', body: query, headers: { ...fromPage, 'x-navinfo-token': undefined } }, 403, 'token'],
    ['a forged token', loopbackOnly,
      { method: 'POST', path: '/api/query', body: query, headers: { ...fromPage, 'x-navinfo-token': `${token.split('.')[0]}.AAAA` } },
      403, 'token'],
    ['the page\'s token, but text/plain', loopbackOnly,
      { method: 'POST', path: '/api/query', body: query, headers: { ...fromPage, 'content-type': 'text/plain' } }, 415, 'application/json'],
    ['a 70 KiB body', loopbackOnly, { method: 'POST', path: '/api/query', headers: fromPage, body: big }, 413, 'over 65536 bytes'],
    ['a 70 KiB body without a length (chunked)', loopbackOnly,
      { method: 'POST', path: '/api/query', headers: fromPage, body: big, chunked: true }, 413, 'over 65536 bytes'],
    ['null', loopbackOnly, { method: 'POST', path: '/api/command', headers: fromPage, body: 'null' }, 400, 'must be a JSON object'],
    ['not JSON', loopbackOnly, { method: 'POST', path: '/api/command', headers: fromPage, body: '{"type":' }, 400, 'not JSON'],
    ['a foreign Host', loopbackOnly, { host: `evil.example:${port}` }, 403, 'not served'],
    ['the --host name where it is not given', loopbackOnly, { host: `${SERVED_NAME}:${port}` }, 403, 'not served'],
    ['the --host name', withHost, { host: `${SERVED_NAME}:${portOf(withHost)}` }, 200],
    ['a loopback name besides the --host name', withHost, { host: `localhost:${portOf(withHost)}` }, 200],
  ];
  for (const [what, server, options, status, message] of rows) {
    const headers = Object.fromEntries(Object.entries(options.headers || {}).filter(([, v]) => v !== undefined));
    const answer = await request(portOf(server), { ...options, headers });
    assert.equal(answer.status, status, `${what}: ${answer.error || answer.body.slice(0, 200)}`);
    if (message !== undefined) {
      const body = JSON.parse(answer.body);
      assert.match(body.error.message, new RegExp(message), what);
      assert.ok(body.error.message.length < 100 && !/at .*\.js:\d+/.test(body.error.message), `${what}: ${body.error.message}`);
    }
  }
  // The refused command never reached the simulator.
  const status = await request(port, { method: 'POST', path: '/api/query', headers: fromPage, body: query });
  assert.equal(JSON.parse(status.body).answer.data.statusName, 'NAVIGATION');
});

test('the page carries a token of its own and runs nothing from elsewhere', async () => {
  const port = portOf(loopbackOnly);
  const [first, second] = [await request(port, {}), await request(port, {})];
  const tokenOf = (page) => /name="navinfo-token" content="([^"]+)"/.exec(page.body)[1];
  assert.notEqual(tokenOf(first), tokenOf(second));
  const page = await new Promise((resolve) => http.get({ port, path: '/', agent: false }, resolve));
  page.resume();
  assert.match(page.headers['content-security-policy'], /default-src 'self'.*frame-ancestors 'none'/);
});
