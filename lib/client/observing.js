'use strict';
// Observing the queries and commands other applications send to a
// navigation application, and their answers (a system application with the
// permission; the recorder's --requests). The service tells an observer of
// each request it accepts for the bundle and of its completion, under one
// request id; a refused request is not told. The observation outlives a
// lost connection to the daemon: the client library registers it again with
// the next one (what was sent meanwhile is not told).
const EventEmitter = require('node:events');
const { companion, QUERY_TYPES, COMMAND_TYPES } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { resultError } = require('./errors');

const typeName = (kind, type) => (kind === 'query' ? QUERY_TYPES : COMMAND_TYPES)[type] ?? String(type);

// Emits 'request' ({ requestId, requester, kind, type, params }) and
// 'answer' ({ requestId, kind, type, code, message, data }), in the order the
// service sent them, and 'close'.
class RequestObservation extends EventEmitter {
  #bundleName;
  #closed = false;
  #hold = new LoopHold();

  constructor(bundleName) {
    super();
    this.#bundleName = bundleName;
    const result = companion.observeRequests(bundleName, (seen) => this.#deliver(seen));
    if (result !== 0) {
      this.#hold.close();
      // The client library keeps an observer the daemon could not take now
      // (away, or refusing) for its next connection: this one is not kept.
      companion.stopObservingRequests(bundleName);
      throw resultError(result, `observing the requests to "${bundleName}"`);
    }
  }

  get bundleName() { return this.#bundleName; }
  get closed() { return this.#closed; }

  close() {
    if (this.#closed) return;
    this.#closed = true;
    this.#hold.close();
    companion.stopObservingRequests(this.#bundleName);
    process.nextTick(() => this.emit('close'));
  }

  #deliver({ requestId, answered, requester, kind, type, params, code, message, data }) {
    if (this.#closed) return;
    const named = typeName(kind, type);
    try {
      if (answered) this.emit('answer', { requestId, kind, type: named, code, message, data });
      else this.emit('request', { requestId, requester, kind, type: named, params });
    } catch (error) {
      process.nextTick(() => { throw error; });
    }
  }
}

module.exports = { RequestObservation };
