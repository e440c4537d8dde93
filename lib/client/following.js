'use strict';
// Following the status and metadata of navigation applications.
//
// The module delivers each kind to the listener registered last in the whole
// process, naming the bundle a record comes from. This file registers one
// dispatcher per kind for every followed bundle, and hands each record to
// the open subscriptions of its bundle, on this thread. Since deliveries go
// to one thread per process, one thread at a time may follow (a role the
// companion addon keeps).
const EventEmitter = require('node:events');
const { nav, companion } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { recordIterator } = require('./record_iterator');
const { NavInfoError, resultError, fromModuleError } = require('./errors');

const SERVICE_UNAVAILABLE = 1002;

const KINDS = {
  status: { register: 'registerNavigationStatusListener', unregister: 'unregisterNavigationStatusListener' },
  metadata: { register: 'registerNavigationMetadataListener', unregister: 'unregisterNavigationMetadataListener' },
};
const DISPATCHERS = {
  status: { onStatusChanged: (bundleName, record) => dispatch('status', bundleName, record) },
  metadata: { onMetadataChanged: (bundleName, record) => dispatch('metadata', bundleName, record) },
};
const subscribers = { status: new Map(), metadata: new Map() }; // bundle -> Set of subscriptions
let openCount = 0;
let system = null; // the thread's system navigation controller, got on first use

const kDeliver = Symbol('deliver');
const kCreate = Symbol('create');

// One subscription to one kind of record of one bundle. Emits the kind's
// event ('status' or 'metadata') with (record, bundleName), and 'close'.
class Subscription extends EventEmitter {
  #kind;
  #bundleName;
  #hold = new LoopHold();
  #closed = false;

  constructor(token, kind, bundleName) {
    if (token !== kCreate) {
      throw new TypeError('Illegal constructor: subscriptions come from followStatus() and followMetadata()');
    }
    super();
    this.#kind = kind;
    this.#bundleName = bundleName;
  }

  get kind() { return this.#kind; }
  get bundleName() { return this.#bundleName; }
  get closed() { return this.#closed; }

  ref() { this.#hold.ref(); return this; }
  unref() { this.#hold.unref(); return this; }
  hasRef() { return this.#hold.hasRef(); }

  close() {
    if (this.#closed) return;
    this.#closed = true;
    this.#hold.close();
    unfollow(this);
    process.nextTick(() => this.emit('close'));
  }

  [Symbol.dispose]() { this.close(); }

  [Symbol.asyncIterator]() { return recordIterator(this, this.#kind); }

  // A listener that throws is reported as uncaught, as Node reports an
  // exception of an event listener; other subscriptions still get the record.
  [kDeliver](record) {
    if (this.#closed) return;
    try {
      this.emit(this.#kind, record, this.#bundleName);
    } catch (error) {
      process.nextTick(() => { throw error; });
    }
  }
}

function dispatch(kind, bundleName, record) {
  const open = subscribers[kind].get(bundleName);
  if (open === undefined) return; // a late delivery after the last unsubscription
  for (const subscription of [...open]) subscription[kDeliver](record);
}

// Opens a subscription (kind 'status' or 'metadata'); a status subscription
// gets the bundle's current status first, if there is one. Throws
// NavInfoError when the service refuses or cannot be reached, or another
// thread follows.
function follow(kind, bundleName) {
  if (openCount === 0 && !companion.claim('following')) {
    throw new NavInfoError('ERR_NAVINFO_OTHER_THREAD',
      'Another JavaScript thread of this process follows navigation applications: records reach one thread only');
  }
  const what = `following the ${kind} of "${bundleName}"`;
  let open = subscribers[kind].get(bundleName);
  let current;
  try {
    system = system || nav.getSystemNavigationController();
    if (open === undefined) {
      system[KINDS[kind].register](DISPATCHERS[kind], bundleName);
      // The module does not tell whether the registration reached the
      // service, and one made while the daemon is away is not restored when
      // it comes back: fail now instead of never delivering.
      if (!companion.serviceConnected()) {
        system[KINDS[kind].unregister](bundleName);
        throw resultError(SERVICE_UNAVAILABLE, what);
      }
    }
    if (kind === 'status') current = companion.readStatus(bundleName);
  } catch (error) {
    if (openCount === 0) companion.release('following');
    throw fromModuleError(error, what);
  }
  if (open === undefined) {
    open = new Set();
    subscribers[kind].set(bundleName, open);
  }
  const subscription = new Subscription(kCreate, kind, bundleName);
  open.add(subscription);
  openCount++;
  if (current !== undefined && current.result === 0) process.nextTick(() => subscription[kDeliver](current.status));
  return subscription;
}

function unfollow(subscription) {
  const { kind, bundleName } = subscription;
  const open = subscribers[kind].get(bundleName);
  open.delete(subscription);
  openCount--;
  if (open.size === 0) {
    subscribers[kind].delete(bundleName);
    try {
      system[KINDS[kind].unregister](bundleName);
    } catch {
      // Refused (the access changed meanwhile): records that still come are dropped in dispatch.
    }
  }
  if (openCount === 0) companion.release('following');
}

module.exports = { Subscription, follow };
