'use strict';
// Serving the queries and commands of system applications (the navigation
// role). One server per process: the module hands queries and commands to
// the listener registered last in the process, and the service keeps one
// listener per navigation application.
//
// Every query and command is answered, and at once when its handler fails:
// the module is always given a promise that fulfils with a checked answer.
//
// With the daemon, a server opened while it is away, or refused by it (its
// policy, or another process serving the same bundle), is kept: the client
// library registers it when the daemon comes or allows it, and the server
// tells a refusal as 'error' and its end as 'resume'.
const EventEmitter = require('node:events');
const { nav, companion, QUERY_TYPES, COMMAND_TYPES } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { checkAnswer, isPlainObject } = require('./validate');
const { onRegistrationEvent, usesEmbeddedService } = require('./connection');
const {
  AnswerCode, RESULTS, NavInfoError, resultError, fromModuleError, invalidType, invalidValue, reportRefusal,
} = require('./errors');

const REFUSALS = new Set([1005, 1015]);
const kRefused = Symbol('refused');
const kResumed = Symbol('resumed');
let watching = false;

const GROUPS = { query: ['queries', QUERY_TYPES], command: ['commands', COMMAND_TYPES] };
const kCreate = Symbol('create');
const kAnswer = Symbol('answer');
let active = null; // the open server of this thread
let controller = null; // the thread's navigation controller, got on first use

function failureAnswer(code) {
  return { code, message: RESULTS.get(code)[1], data: {} };
}

const LISTENER = {
  onQueryNavigationInfo: (type, params) => answerRequest('query', type, params),
  onReceiveNavigationCmd: (type, params) => answerRequest('command', type, params),
};

function answerRequest(kind, type, params) {
  if (active === null) return Promise.resolve(failureAnswer(AnswerCode.NOT_SUPPORTED));
  return active[kAnswer](kind, type, params);
}

// handlers: one function for every request, or { queries, commands }, each a
// function for all its kinds or an object with one function per kind.
function checkHandlers(handlers) {
  if (typeof handlers === 'function') return;
  if (handlers === null || typeof handlers !== 'object') {
    throw invalidType('handlers', 'a function or an object', handlers, 'argument');
  }
  if (isPlainObject(handlers)) {
    for (const key of Object.keys(handlers)) {
      if (key !== 'queries' && key !== 'commands') {
        throw invalidValue(`handlers.${key}`, 'is not "queries" or "commands"', handlers[key]);
      }
    }
  }
  for (const [group, types] of Object.values(GROUPS)) {
    const byType = handlers[group];
    if (byType === undefined || typeof byType === 'function') continue;
    if (byType === null || typeof byType !== 'object') {
      throw invalidType(`handlers.${group}`, 'a function or an object', byType);
    }
    const names = isPlainObject(byType) ? Object.keys(byType) : types.filter((type) => type in byType);
    for (const name of names) {
      const path = `handlers.${group}.${name}`;
      if (!types.includes(name)) throw invalidValue(path, `is not one of ${types.join(', ')}`, byType[name]);
      if (typeof byType[name] !== 'function') throw invalidType(path, 'a function', byType[name]);
    }
  }
}

// Emits 'handlerError' (error, request) for a handler that threw, rejected or
// answered wrongly (without a listener, a process warning tells it), 'error'
// (NavInfoError) when the service refuses to let it serve (without a
// listener, a process warning), 'resume' when it serves again, and 'close'.
class NavigationServer extends EventEmitter {
  #handlers;
  #hold = new LoopHold();
  #closed = false;
  #refused = false;

  constructor(token, handlers) {
    if (token !== kCreate) throw new TypeError('Illegal constructor: servers come from serve()');
    super();
    this.#handlers = handlers;
  }

  get closed() { return this.#closed; }
  // Whether the service refuses this server now (it is tried again).
  get refused() { return this.#refused; }
  ref() { this.#hold.ref(); return this; }
  unref() { this.#hold.unref(); return this; }
  hasRef() { return this.#hold.hasRef(); }

  // Stops serving; the service answers requests still waiting for this
  // server with "Not found".
  close() {
    if (this.#closed) return;
    this.#closed = true;
    this.#hold.close();
    active = null;
    try {
      controller.unregisterSystemNavigationListener();
    } catch {
      // Refused (the access changed meanwhile): the service drops the listener with this process.
    }
    companion.release('serving');
    process.nextTick(() => this.emit('close'));
  }

  [Symbol.dispose]() { this.close(); }

  [kRefused](error) {
    if (this.#closed) return;
    this.#refused = true;
    reportRefusal(this, error);
  }

  [kResumed]() {
    if (this.#closed || !this.#refused) return;
    this.#refused = false;
    this.emit('resume');
  }

  // The handler for a request and the `this` it is called with.
  #find(kind, type) {
    const handlers = this.#handlers;
    if (typeof handlers === 'function') return [handlers, this];
    const [group, types] = GROUPS[kind];
    const byType = handlers[group];
    if (typeof byType === 'function') return types.includes(type) ? [byType, handlers] : null;
    return byType && types.includes(type) && typeof byType[type] === 'function' ? [byType[type], byType] : null;
  }

  async [kAnswer](kind, type, params) {
    const request = { kind, type, params };
    const found = this.#find(kind, type);
    if (found === null) return failureAnswer(AnswerCode.NOT_SUPPORTED);
    let answer;
    try {
      answer = await found[0].call(found[1], request);
    } catch (error) {
      this.#report(error, request, 'failed');
      return failureAnswer(AnswerCode.HANDLER_FAILED);
    }
    if (answer === undefined) return { code: 0, message: '', data: {} };
    try {
      checkAnswer(answer);
    } catch (error) {
      error.code = 'ERR_INVALID_RETURN_VALUE';
      this.#report(error, request, 'answered wrongly');
      return failureAnswer(AnswerCode.HANDLER_FAILED);
    }
    return { code: answer.code ?? 0, message: answer.message ?? '', data: answer.data ?? {} };
  }

  #report(error, request, what) {
    if (this.listenerCount('handlerError') > 0) {
      this.emit('handlerError', error, request);
      return;
    }
    const reason = error instanceof Error ? `${error.name}: ${error.message}` : String(error);
    process.emitWarning(`The handler of the ${request.kind} "${request.type}" ${what}: ${reason}`,
      { type: 'NavInfoHandlerWarning', code: error && error.code, detail: error && error.stack });
  }
}

function onRegistration(change, { registration, result }) {
  if (registration !== 'system' || active === null) return;
  if (change === 'refused') active[kRefused](resultError(result, 'serving queries and commands'));
  else if (change === 'resumed') active[kResumed]();
}

function serve(handlers) {
  checkHandlers(handlers);
  if (active !== null) {
    throw new NavInfoError('ERR_NAVINFO_ALREADY_SERVING', 'This thread serves already: close its server first');
  }
  if (!companion.claim('serving')) {
    throw new NavInfoError('ERR_NAVINFO_OTHER_THREAD',
      'Another JavaScript thread of this process serves queries and commands');
  }
  if (!watching) {
    onRegistrationEvent(onRegistration);
    watching = true;
  }
  let refusal;
  try {
    controller = controller || nav.getNavigationController();
    // With the daemon away this registers nothing yet, throws nothing, and
    // the client library registers it when the daemon comes.
    controller.registerSystemNavigationListener(LISTENER);
  } catch (error) {
    const coded = fromModuleError(error, 'serving queries and commands');
    // The daemon's library keeps a refused registration and tries it again;
    // the embedded service's policy does not change meanwhile.
    if (!REFUSALS.has(coded.result) || usesEmbeddedService()) {
      companion.release('serving');
      throw coded;
    }
    refusal = coded;
  }
  active = new NavigationServer(kCreate, handlers);
  if (refusal !== undefined) {
    const server = active;
    process.nextTick(() => server[kRefused](refusal));
  }
  return active;
}

module.exports = { NavigationServer, serve };
