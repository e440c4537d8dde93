'use strict';
// NavigationClient: the client API's one object. A system application
// follows, reads, queries and commands navigation applications with it; a
// navigation application publishes and serves with it. close() ends what the
// client opened (subscriptions, its server, requests still waiting).
//
// With the daemon, the client connects when it is made and tells the state
// of the connection: `connected`, the events 'connect', 'disconnect' and
// 'reconnect', and ready().
const EventEmitter = require('node:events');
const { nav, companion, QUERY_TYPES, COMMAND_TYPES } = require('./bindings');
const following = require('./following');
const serving = require('./serving');
const { RequestObservation } = require('./observing');
const { sendRequest } = require('./requests');
const { waitUntilReady } = require('./ready');
const { kServiceEvent, watchConnection, unwatchConnection } = require('./connection');
const { checkStatus, checkMetadata, checkBundleName, checkOptions } = require('./validate');
const { NavInfoError, resultError, fromModuleError, invalidType } = require('./errors');

const NOT_FOUND = 1003;
const SERVICE_UNAVAILABLE = 1002;
const CLIENT_OPTIONS = ['strict', 'socket', 'bundleName', 'token'];

function strictOption(options, fallback, names = ['strict']) {
  const { strict = fallback } = checkOptions(options, names);
  if (typeof strict !== 'boolean') throw invalidType('options.strict', 'of type boolean', strict);
  return strict;
}

// { socket, bundleName, token } of createClient's options, checked; socket ''
// asks for the embedded service.
function endpointOptions(options) {
  const { socket, bundleName, token } = checkOptions(options, CLIENT_OPTIONS);
  const endpoint = {};
  for (const [name, value] of [['socket', socket], ['bundleName', bundleName], ['token', token]]) {
    if (value === undefined) continue;
    if (typeof value !== 'string') throw invalidType(`options.${name}`, 'of type string', value);
    endpoint[name] = value;
  }
  if (endpoint.bundleName !== undefined) checkBundleName(endpoint.bundleName);
  return endpoint;
}

// Emits 'connect' once the client is connected (in a later tick when it is
// at once; with the embedded service always so) and at each later
// connection, 'reconnect' after it when an earlier connection was lost, and
// 'disconnect' (reason: a NavInfoError, ERR_NAVINFO_SERVICE_UNAVAILABLE) when
// the connection is lost.
class NavigationClient extends EventEmitter {
  #strict;
  #closed = false;
  #resources = new Set(); // open subscriptions and servers
  #pending = new Set(); // cancel functions of requests waiting for an answer
  #controller = null;
  #everLost = false;
  #generation = -1; // of the connection 'connect' was emitted for

  constructor(options = undefined) {
    super();
    this.#strict = strictOption(options, true, CLIENT_OPTIONS);
    const endpoint = endpointOptions(options);
    if (Object.keys(endpoint).length > 0) {
      const whyNot = companion.configure(endpoint);
      if (whyNot !== null) {
        throw new NavInfoError('ERR_NAVINFO_ALREADY_CONNECTED',
          `Cannot use ${JSON.stringify(endpoint, (k, v) => (k === 'token' ? '(token)' : v))}: ${whyNot}`);
      }
    }
    watchConnection(this);
    // At once: `connected` is true from here on when the daemon is up.
    if (companion.connect()) {
      const generation = companion.connectionGeneration();
      process.nextTick(() => this.#connected(generation));
    }
  }

  #connected(generation) {
    if (this.#closed || generation === this.#generation) return;
    this.#generation = generation;
    this.emit('connect');
    if (this.#everLost) this.emit('reconnect');
  }

  get closed() { return this.#closed; }

  // Whether the service is reachable now: always with the embedded service;
  // with the daemon, while this process has a connection to it.
  get connected() { return companion.serviceConnected(); }

  // Which service this process uses: { socket, bundleName, embedded }.
  get endpoint() {
    const { socket, bundleName, embedded } = companion.endpoint();
    return { socket, bundleName, embedded };
  }

  // Resolves once the service is reachable (at once when it is); rejects
  // with ERR_NAVINFO_TIMEOUT after options.timeout ms, an AbortError when
  // options.signal aborts, ERR_NAVINFO_CLIENT_CLOSED when the client closes.
  async ready(options = undefined) {
    this.#checkOpen();
    return waitUntilReady(options, this.#pending);
  }

  // The connection watcher (connection.js) tells of a connection made or lost.
  [kServiceEvent](kind, detail) {
    if (this.#closed) return;
    if (kind === 'connect') {
      this.#connected(detail.generation);
    } else if (kind === 'disconnect') {
      this.#everLost = true;
      this.emit('disconnect', resultError(detail.result || SERVICE_UNAVAILABLE, detail.reason || 'connection lost'));
    }
  }

  // --- System role ---

  followStatus(bundleName, options = undefined) {
    return this.#follow('status', bundleName, options);
  }

  followMetadata(bundleName, options = undefined) {
    return this.#follow('metadata', bundleName, options);
  }

  // The bundle's latest status with the time the service stored it, or null
  // when the bundle never published one.
  getStatus(bundleName) {
    this.#checkOpen();
    checkBundleName(bundleName);
    const { result, status, updateTime } = companion.readStatus(bundleName);
    if (result === NOT_FOUND) return null;
    if (result !== 0) throw resultError(result, `reading the status of "${bundleName}"`);
    return { bundleName, status, updatedAt: new Date(updateTime) };
  }

  // What the service holds now: connections (with the daemon; the embedded
  // service shows this process), follows, servers, requests waiting, the
  // latest records and each bundle's owner and waiters. Throws NavInfoError: 1015 and 1005 for an application
  // that is not a system application with the permission, 1002 when the
  // daemon is away.
  inspectService() {
    this.#checkOpen();
    const { result, snapshot } = companion.inspectService();
    if (result !== 0) throw resultError(result, 'inspecting the service');
    const typeName = (kind, type) => (kind === 'query' ? QUERY_TYPES : COMMAND_TYPES)[type] ?? String(type);
    return {
      ...snapshot,
      takenAt: new Date(snapshot.takenAt),
      requests: snapshot.requests.map((r) => ({ ...r, type: typeName(r.kind, r.type) })),
      statuses: snapshot.statuses.map(({ updateTime, ...r }) => ({ ...r, updatedAt: new Date(updateTime) })),
      metadata: snapshot.metadata.map(({ updateTime, ...r }) => ({ ...r, updatedAt: new Date(updateTime) })),
    };
  }

  // The queries and commands other applications send to bundleName, and
  // their answers, as they happen (observing.js). Throws NavInfoError as
  // following does.
  observeRequests(bundleName, options = undefined) {
    this.#checkOpen();
    checkBundleName(bundleName);
    const { signal } = checkOptions(options, ['signal']);
    return this.#track(new RequestObservation(bundleName), signal);
  }

  query(bundleName, type, params = {}, options = undefined) {
    return this.#request('query', bundleName, type, params, options);
  }

  command(bundleName, type, params = {}, options = undefined) {
    return this.#request('command', bundleName, type, params, options);
  }

  // --- Navigation role ---

  publishStatus(status, options = undefined) {
    this.#publish('updateNavigationStatus', checkStatus, status, options);
  }

  publishMetadata(metadata, options = undefined) {
    this.#publish('updateNavigationMetadata', checkMetadata, metadata, options);
  }

  serve(handlers, options = undefined) {
    this.#checkOpen();
    const { signal } = checkOptions(options, ['signal']);
    return this.#track(serving.serve(handlers), signal);
  }

  close() {
    if (this.#closed) return;
    this.#closed = true;
    unwatchConnection(this);
    for (const resource of [...this.#resources]) resource.close();
    const closedError = new NavInfoError('ERR_NAVINFO_CLIENT_CLOSED', 'The client was closed');
    for (const cancel of [...this.#pending]) cancel(closedError);
  }

  [Symbol.dispose]() { this.close(); }

  #checkOpen() {
    if (this.#closed) throw new NavInfoError('ERR_NAVINFO_CLIENT_CLOSED', 'The client was closed');
  }

  #follow(kind, bundleName, options) {
    this.#checkOpen();
    checkBundleName(bundleName);
    const { signal, latest = true } = checkOptions(options, ['signal', 'latest']);
    if (typeof latest !== 'boolean') throw invalidType('options.latest', 'of type boolean', latest);
    return this.#track(following.follow(kind, bundleName, { latest }), signal);
  }

  // Closes the resource with the client or when signal aborts.
  #track(resource, signal) {
    if (signal !== undefined && signal.aborted) {
      resource.close();
      return resource;
    }
    const onAbort = () => resource.close();
    this.#resources.add(resource);
    if (signal !== undefined) signal.addEventListener('abort', onAbort, { once: true });
    resource.once('close', () => {
      this.#resources.delete(resource);
      if (signal !== undefined) signal.removeEventListener('abort', onAbort);
    });
    return resource;
  }

  async #request(kind, bundleName, type, params, options) {
    this.#checkOpen();
    return sendRequest(kind, bundleName, type, params, options, this.#pending);
  }

  #publish(method, check, record, options) {
    this.#checkOpen();
    if (strictOption(options, this.#strict)) check(record);
    this.#controller = this.#controller || nav.getNavigationController();
    try {
      this.#controller[method](record);
    } catch (error) {
      throw fromModuleError(error, 'publishing');
    }
  }
}

module.exports = { NavigationClient };
