'use strict';
// Queries and commands (the system role), sent through the companion addon
// so that an answer that comes after a time-out, an abort or close() is
// dropped instead of holding the process: a request holds the event loop
// only while this API waits for it.
const { companion, QUERY_TYPES, COMMAND_TYPES } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { checkBundleName, checkOneOf, checkParams, checkOptions } = require('./validate');
const { NavInfoError, AbortError, resultError, isSystemAnswer, outOfRange, invalidType } = require('./errors');

const waiting = new Map(); // request id -> function taking the answer
let nextId = 1;
let answering = false;

function onAnswer(id, code, message, data) {
  const take = waiting.get(id);
  if (take !== undefined) take({ code, message, data });
}

function checkTimeout(timeout) {
  if (timeout === undefined) return;
  if (typeof timeout !== 'number') throw invalidType('options.timeout', 'of type number', timeout);
  if (!(timeout >= 1 && timeout <= 0x7fffffff)) throw outOfRange('options.timeout', '>= 1 && <= 2147483647', timeout);
}

// Sends one request; resolves with the navigation application's answer and
// rejects with NavInfoError, AbortError or an argument error. `pending` is
// the client's set of cancel functions, which close() calls.
async function sendRequest(kind, bundleName, type, params, options, pending) {
  const isCommand = kind === 'command';
  const types = isCommand ? COMMAND_TYPES : QUERY_TYPES;
  checkBundleName(bundleName);
  checkOneOf('type', type, types);
  checkParams(params);
  const { timeout, signal } = checkOptions(options, ['timeout', 'signal']);
  checkTimeout(timeout);
  if (signal !== undefined && signal.aborted) throw new AbortError(undefined, { cause: signal.reason });
  if (!answering) {
    companion.setAnswerHandler(onAnswer);
    answering = true;
  }

  const what = `${kind} "${type}" to "${bundleName}"`;
  const id = nextId++;
  return new Promise((resolve, reject) => {
    const hold = new LoopHold();
    let timer;
    const onAbort = () => settle(new AbortError(undefined, { cause: signal.reason }));
    const cancel = (error) => settle(error);
    function settle(error, answer) {
      waiting.delete(id);
      pending.delete(cancel);
      clearTimeout(timer);
      if (signal !== undefined) signal.removeEventListener('abort', onAbort);
      hold.close();
      if (error !== undefined) reject(error); else resolve(answer);
    }

    waiting.set(id, (answer) => {
      if (isSystemAnswer(answer)) settle(resultError(answer.code, what));
      else settle(undefined, answer);
    });
    let result;
    try {
      result = companion.sendRequest(id, isCommand, bundleName, types.indexOf(type), params);
    } catch (error) {
      settle(error);
      return;
    }
    if (result !== 0) {
      settle(resultError(result, what));
      return;
    }
    pending.add(cancel);
    if (timeout !== undefined) {
      timer = setTimeout(() => settle(new NavInfoError('ERR_NAVINFO_TIMEOUT',
        `Timed out after ${timeout} ms: ${what}`, { result: 1004 })), timeout);
    }
    if (signal !== undefined) signal.addEventListener('abort', onAbort, { once: true });
  });
}

module.exports = { sendRequest };
