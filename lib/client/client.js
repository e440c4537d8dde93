'use strict';
// NavigationClient: the client API's one object. A system application
// follows, reads, queries and commands navigation applications with it; a
// navigation application publishes and serves with it. close() ends what the
// client opened (subscriptions, its server, requests still waiting).
const { nav, companion, QUERY_TYPES, COMMAND_TYPES } = require('./bindings');
const following = require('./following');
const serving = require('./serving');
const { sendRequest } = require('./requests');
const { checkStatus, checkMetadata, checkBundleName, checkOptions } = require('./validate');
const { NavInfoError, resultError, fromModuleError, invalidType } = require('./errors');

const NOT_FOUND = 1003;

function strictOption(options, fallback) {
  const { strict = fallback } = checkOptions(options, ['strict']);
  if (typeof strict !== 'boolean') throw invalidType('options.strict', 'of type boolean', strict);
  return strict;
}

class NavigationClient {
  #strict;
  #closed = false;
  #resources = new Set(); // open subscriptions and servers
  #pending = new Set(); // cancel functions of requests waiting for an answer
  #controller = null;

  constructor(options = undefined) {
    this.#strict = strictOption(options, true);
  }

  get closed() { return this.#closed; }

  // Whether the service is reachable now: always with the embedded service;
  // with the daemon, while this process has a connection to it.
  get connected() { return companion.serviceConnected(); }

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
    const { signal } = checkOptions(options, ['signal']);
    return this.#track(following.follow(kind, bundleName), signal);
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
