'use strict';
// Who may use the cluster's server. Every request must be addressed to a
// host name it serves (loopback names, and those given with --host), so
// that another site cannot reach it through a rebound DNS name. Queries and
// commands must come from the page itself: not from another site (Origin,
// Sec-Fetch-Site), carrying the token served with the page, as JSON (a
// Content-Type that a plain cross-site form cannot send).
const crypto = require('node:crypto');

const LOOPBACK_NAMES = /^(localhost|127\.\d+\.\d+\.\d+|\[::1\])$/;
const TOKEN_HEADER = 'x-navinfo-token';

// The host name of a Host header (or of an origin's host), lower case,
// without the port and a trailing dot; null when it is none.
function hostName(value) {
  if (typeof value !== 'string') return null;
  const match = /^(\[[0-9a-f:.]+\]|[a-z0-9._-]+?)\.?(?::\d{1,5})?$/i.exec(value.trim());
  return match ? match[1].toLowerCase() : null;
}

// Checks a name given with --host: a DNS name or an IP address, which
// Host headers then must carry. Throws a message for anything else.
function checkHostName(name) {
  const normal = hostName(name);
  if (normal === null || normal !== name.toLowerCase().replace(/\.$/, '') || /^[.-]|\.\./.test(normal)) {
    throw new Error(`--host must be a host name or address without a port, not "${name}"`);
  }
  return normal;
}

// Page tokens: a random nonce and its HMAC under a key that lives as long
// as the server, so that every page load gets a token of its own and the
// server keeps no list of them.
function createPageTokens() {
  const key = crypto.randomBytes(32);
  const sign = (nonce) => crypto.createHmac('sha256', key).update(nonce).digest('base64url');
  return {
    issue() {
      const nonce = crypto.randomBytes(18).toString('base64url');
      return `${nonce}.${sign(nonce)}`;
    },
    valid(token) {
      if (typeof token !== 'string' || token.length > 128) return false;
      const [nonce, mac, extra] = token.split('.');
      if (!nonce || !mac || extra !== undefined) return false;
      const expected = Buffer.from(sign(nonce));
      const given = Buffer.from(mac);
      return given.length === expected.length && crypto.timingSafeEqual(given, expected);
    },
  };
}

// hosts: the names served besides the loopback ones.
function createRequestGuard(hosts = []) {
  const served = new Set(hosts.map(checkHostName));
  const tokens = createPageTokens();

  // null when the request's Host is served; otherwise why not.
  function checkHost(request) {
    const name = hostName(request.headers.host);
    if (name !== null && (LOOPBACK_NAMES.test(name) || served.has(name))) return null;
    return 'this host name is not served (see navinfo-cluster --host)';
  }

  // For queries and commands: null when the request comes from a page this
  // server served; otherwise [status, why not].
  function checkFromPage(request) {
    const site = request.headers['sec-fetch-site'];
    if (site !== undefined && site !== 'same-origin') return [403, 'cross-site requests are refused'];
    const origin = request.headers.origin;
    if (origin !== undefined) {
      let originHost = null;
      try {
        originHost = new URL(origin).host;
      } catch {
        // "null" and other opaque origins are foreign.
      }
      if (originHost === null || originHost.toLowerCase() !== String(request.headers.host).toLowerCase()) {
        return [403, 'cross-site requests are refused'];
      }
    }
    if (!tokens.valid(request.headers[TOKEN_HEADER])) return [403, `missing or wrong ${TOKEN_HEADER} (reload the page)`];
    const type = String(request.headers['content-type'] || '').split(';')[0].trim().toLowerCase();
    if (type !== 'application/json') return [415, 'the body must be sent as application/json'];
    return null;
  }

  return { checkHost, checkFromPage, issueToken: tokens.issue };
}

module.exports = { createRequestGuard, checkHostName, hostName, TOKEN_HEADER };
