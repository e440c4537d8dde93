'use strict';
// Following the status and metadata of navigation applications.
//
// The module delivers each kind to the listener registered last in the whole
// process, naming the bundle a record comes from. This file registers one
// dispatcher per kind for every followed bundle, and hands each record to
// the open subscriptions of its bundle, on this thread. Since deliveries go
// to one thread per process, one thread at a time may follow (a role the
// companion addon keeps).
//
// With the daemon, a registration made while it is away, or refused by its
// policy, stays booked in the client library, which registers it again when
// the daemon comes and, for a refusal, with back-off until the policy allows
// it: the subscription stays open meanwhile, tells a refusal as 'error' and
// its end as 'resume'.
const EventEmitter = require('node:events');
const { nav, companion } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { recordIterator } = require('./record_iterator');
const { onRegistrationEvent, usesEmbeddedService } = require('./connection');
const { NavInfoError, resultError, fromModuleError, reportRefusal } = require('./errors');

const REFUSALS = new Set([1005, 1015]);
const UNAVAILABLE = 5; // MapStatus.UNAVAILABLE

const KINDS = {
  status: { register: 'registerNavigationStatusListener', unregister: 'unregisterNavigationStatusListener' },
  metadata: { register: 'registerNavigationMetadataListener', unregister: 'unregisterNavigationMetadataListener' },
};
const DISPATCHERS = {
  status: { onStatusChanged: (bundleName, record) => dispatch('status', bundleName, record) },
  metadata: { onMetadataChanged: (bundleName, record) => dispatch('metadata', bundleName, record) },
};
const subscribers = { status: new Map(), metadata: new Map() }; // bundle -> Set of subscriptions
const refusedNow = { status: new Map(), metadata: new Map() }; // bundle -> the refusal's NavInfoError
let openCount = 0;
let system = null; // the thread's system navigation controller, got on first use
let watching = false;

const kDeliver = Symbol('deliver');
const kRefused = Symbol('refused');
const kResumed = Symbol('resumed');
const kCreate = Symbol('create');

// One subscription to one kind of record of one bundle. Emits the kind's
// event ('status' or 'metadata') with (record, bundleName), 'unavailable'
// (status, bundleName) after a status saying MapStatus.UNAVAILABLE,
// 'error' (NavInfoError) when the service refuses it, 'resume' when it
// follows again, and 'close'.
class Subscription extends EventEmitter {
  #kind;
  #bundleName;
  #latest;
  #hold = new LoopHold();
  #closed = false;
  #arrivals = new WeakMap(); // record -> when the service stored it, or it arrived (ms since the epoch)
  #lastUpdate = null;

  constructor(token, kind, bundleName, latest) {
    if (token !== kCreate) {
      throw new TypeError('Illegal constructor: subscriptions come from followStatus() and followMetadata()');
    }
    super();
    this.#kind = kind;
    this.#bundleName = bundleName;
    this.#latest = latest;
  }

  get kind() { return this.#kind; }
  get bundleName() { return this.#bundleName; }
  get closed() { return this.#closed; }
  // Whether the service refuses this subscription now (it is tried again).
  get refused() { return refusedNow[this.#kind].has(this.#bundleName); }
  // When the latest record was stored by the service (or arrived): a Date, or null before the first.
  get lastUpdate() { return this.#lastUpdate === null ? null : new Date(this.#lastUpdate); }
  // Milliseconds since then, or null before the first record.
  get age() { return this.#lastUpdate === null ? null : Math.max(0, Date.now() - this.#lastUpdate); }
  // Milliseconds since a record this subscription gave was stored (or arrived); null for any other value.
  ageOf(record) {
    const at = record !== null && typeof record === 'object' ? this.#arrivals.get(record) : undefined;
    return at === undefined ? null : Math.max(0, Date.now() - at);
  }

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

  // By default the newest record only, for a consumer slower than the
  // records (each one replaces the one before); { latest: false } at
  // follow time: every record, in order.
  [Symbol.asyncIterator]() { return recordIterator(this, this.#kind, { latest: this.#latest }); }

  // A listener that throws is reported as uncaught, as Node reports an
  // exception of an event listener; other subscriptions still get the record.
  [kDeliver](record, storedAt = Date.now()) {
    if (this.#closed) return;
    this.#lastUpdate = storedAt;
    if (record !== null && typeof record === 'object') this.#arrivals.set(record, storedAt);
    try {
      this.emit(this.#kind, record, this.#bundleName);
      if (this.#kind === 'status' && record.status === UNAVAILABLE) this.emit('unavailable', record, this.#bundleName);
    } catch (error) {
      process.nextTick(() => { throw error; });
    }
  }

  [kRefused](error) {
    if (!this.#closed) reportRefusal(this, error);
  }

  [kResumed]() {
    if (!this.#closed) this.emit('resume', this.#bundleName);
  }
}

function dispatch(kind, bundleName, record) {
  const open = subscribers[kind].get(bundleName);
  if (open === undefined) return; // a late delivery after the last unsubscription
  for (const subscription of [...open]) subscription[kDeliver](record);
}

// A booked registration changed at the service (the client library tells).
function onRegistration(change, { registration, bundleName, result }) {
  if (registration !== 'status' && registration !== 'metadata') return;
  const open = subscribers[registration].get(bundleName);
  if (open === undefined) return;
  if (change === 'refused') {
    const error = resultError(result, `following the ${registration} of "${bundleName}"`);
    refusedNow[registration].set(bundleName, error);
    for (const subscription of [...open]) subscription[kRefused](error);
  } else if (change === 'resumed' && refusedNow[registration].delete(bundleName)) {
    for (const subscription of [...open]) subscription[kResumed]();
  }
}

// Opens a subscription (kind 'status' or 'metadata'); a status subscription
// gets the bundle's current status first, if there is one. With the daemon
// away the subscription is kept for when it comes; with the daemon refusing
// it, it emits 'error' and is kept too. Throws NavInfoError when another
// thread follows, or when the embedded service refuses.
function follow(kind, bundleName, { latest = true } = {}) {
  if (openCount === 0 && !companion.claim('following')) {
    throw new NavInfoError('ERR_NAVINFO_OTHER_THREAD',
      'Another JavaScript thread of this process follows navigation applications: records reach one thread only');
  }
  if (!watching) {
    onRegistrationEvent(onRegistration);
    watching = true;
  }
  const what = `following the ${kind} of "${bundleName}"`;
  let open = subscribers[kind].get(bundleName);
  let current;
  let refusal = open === undefined ? undefined : refusedNow[kind].get(bundleName);
  try {
    system = system || nav.getSystemNavigationController();
    if (open === undefined) {
      try {
        system[KINDS[kind].register](DISPATCHERS[kind], bundleName);
        refusedNow[kind].delete(bundleName);
      } catch (error) {
        const coded = fromModuleError(error, what);
        // The daemon's library keeps a refused registration and tries it
        // again; the embedded service's policy does not change meanwhile.
        if (!REFUSALS.has(coded.result) || usesEmbeddedService()) throw coded;
        refusal = coded;
        refusedNow[kind].set(bundleName, coded);
      }
    }
    // A read of a service that is away or refuses gives nothing to start with.
    if (kind === 'status' && refusal === undefined) current = companion.readStatus(bundleName);
  } catch (error) {
    if (openCount === 0) companion.release('following');
    throw fromModuleError(error, what);
  }
  if (open === undefined) {
    open = new Set();
    subscribers[kind].set(bundleName, open);
  }
  const subscription = new Subscription(kCreate, kind, bundleName, latest);
  open.add(subscription);
  openCount++;
  if (current !== undefined && current.result === 0) {
    process.nextTick(() => subscription[kDeliver](current.status, current.updateTime));
  }
  if (refusal !== undefined) process.nextTick(() => subscription[kRefused](refusal));
  return subscription;
}

function unfollow(subscription) {
  const { kind, bundleName } = subscription;
  const open = subscribers[kind].get(bundleName);
  open.delete(subscription);
  openCount--;
  if (open.size === 0) {
    subscribers[kind].delete(bundleName);
    refusedNow[kind].delete(bundleName);
    try {
      system[KINDS[kind].unregister](bundleName);
    } catch {
      // Refused (the access changed meanwhile): the library has forgotten it
      // all the same, and records that still come are dropped in dispatch.
    }
  }
  if (openCount === 0) companion.release('following');
}

module.exports = { Subscription, follow };
