'use strict';
// The errors of the client API:
//  - NavInfoError: what the service or the other application reported,
//    with a stable string `code` and, where there is one, the numeric
//    `result` of the service;
//  - Node's own argument errors (ERR_INVALID_ARG_TYPE, ERR_INVALID_ARG_VALUE,
//    ERR_OUT_OF_RANGE) for input the records cannot carry;
//  - AbortError, as Node's APIs reject when their signal aborts.
const { inspect } = require('node:util');

// Service results and the answers the serving side of this API gives for a
// failed handler, with their codes and the texts the service uses.
const RESULTS = new Map([
  [1001, ['ERR_NAVINFO_INVALID_ARGUMENT', 'Invalid argument']],
  [1002, ['ERR_NAVINFO_SERVICE_UNAVAILABLE', 'Service unavailable']],
  [1003, ['ERR_NAVINFO_NOT_FOUND', 'Not found']],
  [1004, ['ERR_NAVINFO_TIMEOUT', 'Timed out']],
  [1005, ['ERR_NAVINFO_NO_PERMISSION', 'No Permission']],
  [1006, ['ERR_NAVINFO_TOO_MANY_REQUESTS', 'Too many requests']],
  [1015, ['ERR_NAVINFO_NOT_SYSTEM_APP', 'Not System App']],
  [1100, ['ERR_NAVINFO_HANDLER_FAILED', 'Handler failed']],
  [1101, ['ERR_NAVINFO_NOT_SUPPORTED', 'Not supported']],
]);

// The results that come back as answers (the others only as the result of
// sending a request).
const ANSWERED_RESULTS = new Set([1002, 1003, 1004, 1006, 1100, 1101]);

const AnswerCode = Object.freeze({ HANDLER_FAILED: 1100, NOT_SUPPORTED: 1101 });

class NavInfoError extends Error {
  constructor(code, message, { result, cause } = {}) {
    super(message, cause === undefined ? undefined : { cause });
    this.name = 'NavInfoError';
    this.code = code;
    if (result !== undefined) this.result = result;
  }
}

// The error for a service result; `what` says which call it concerns.
function resultError(result, what) {
  const [code, text] = RESULTS.get(result) || ['ERR_NAVINFO_FAILED', `Failed with result ${result}`];
  return new NavInfoError(code, `${text}: ${what}`, { result });
}

// True when an answer is one the service (or this API's serving side) made
// itself rather than the navigation application's own: one of their codes
// with exactly their text and no data.
function isSystemAnswer({ code, message, data }) {
  return ANSWERED_RESULTS.has(code) && message === RESULTS.get(code)[1] && Object.keys(data).length === 0;
}

// The module throws the service's refusals with the result as text.
function fromModuleError(error, what) {
  const result = Number(error && error.code);
  return RESULTS.has(result) ? resultError(result, what) : error;
}

class AbortError extends Error {
  constructor(message = 'The operation was aborted', options = undefined) {
    super(message, options);
    this.code = 'ABORT_ERR';
    this.name = 'AbortError';
  }
}

function received(value) {
  if (value === null || value === undefined) return ` Received ${value}`;
  if (typeof value === 'function') return ` Received function ${value.name || '<anonymous>'}`;
  if (typeof value === 'object') {
    const name = value.constructor && value.constructor.name;
    return name ? ` Received an instance of ${name}` : ` Received ${inspect(value, { depth: -1 })}`;
  }
  let shown = inspect(value, { colors: false });
  if (shown.length > 28) shown = `${shown.slice(0, 25)}...`;
  return ` Received type ${typeof value} (${shown})`;
}

function withCode(error, code) {
  error.code = code;
  return error;
}

// `name` is the argument or property path, `what` 'argument' or 'property'.
function invalidType(name, expected, value, what = 'property') {
  return withCode(new TypeError(`The "${name}" ${what} must be ${expected}.${received(value)}`),
    'ERR_INVALID_ARG_TYPE');
}

function invalidValue(name, reason, value, what = 'property') {
  const shown = inspect(value, { depth: 0, breakLength: Infinity });
  const brief = shown.length > 40 ? `${shown.slice(0, 37)}...` : shown;
  return withCode(new TypeError(`The ${what} "${name}" ${reason}. Received ${brief}`), 'ERR_INVALID_ARG_VALUE');
}

function outOfRange(name, range, value) {
  const shown = typeof value === 'string' ? `a text of ${Buffer.byteLength(value)} bytes` : inspect(value);
  return withCode(new RangeError(`The value of "${name}" is out of range. It must be ${range}. Received ${shown}`),
    'ERR_OUT_OF_RANGE');
}

// A refused subscription or server reports its refusal: an 'error' event
// where the application listens for one, else a process warning rather than
// an uncaught exception, for it is tried again and may resume.
function reportRefusal(emitter, error) {
  if (emitter.listenerCount('error') > 0) {
    emitter.emit('error', error);
    return;
  }
  process.emitWarning(`${error.message} (tried again until it is allowed)`,
    { type: 'NavInfoRefusalWarning', code: error.code });
}

module.exports = {
  RESULTS, AnswerCode, NavInfoError, AbortError, resultError, isSystemAnswer, fromModuleError,
  invalidType, invalidValue, outOfRange, reportRefusal,
};
