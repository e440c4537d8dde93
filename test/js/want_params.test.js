'use strict';
// Conversion of JavaScript values to WantParams and back, through the test
// addon: wantRoundTrip gives the Unwrap result, the map's text (INT 1, LONG
// 1L, DOUBLE 1.0) and the Wrap of the map.
const { describe, it } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');

const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', '..', 'build');
const addon = require(path.join(buildDir, 'lib', 'navinfo_test_addon.node'));

const MAX_DEPTH = 32;
const MAX_VALUES = 100000;

const roundTrip = (value, ...seed) => addon.wantRoundTrip(value, ...seed);

// The text of one value, as the map prints it.
function textOf(value) {
  const result = roundTrip({ v: value });
  assert.equal(result.ok, true);
  assert.match(result.text, /^\{"v":.*\}$/s);
  return result.text.slice('{"v":'.length, -1);
}

// An object nested `levels` deep, the outermost being level 1.
function nestedObject(levels) {
  let value = { leaf: true };
  for (let level = levels; level > 1; --level) {
    value = { next: value };
  }
  return value;
}

// How many `next` links lead from value to the last object.
function chainLength(value, link = 'next') {
  let count = 0;
  while (value[link] !== undefined) {
    value = value[link];
    ++count;
  }
  return count;
}

describe('numbers', () => {
  it('keeps integers in int32 range as INT', () => {
    for (const n of [0, 1, -1, 2147483647, -2147483648]) {
      assert.equal(textOf(n), String(n), `for ${n}`);
    }
  });

  it('gives LONG to other integers a double holds exactly', () => {
    const cases = [2147483648, -2147483649, 2 ** 40, Number.MAX_SAFE_INTEGER, Number.MIN_SAFE_INTEGER];
    for (const n of cases) {
      assert.equal(textOf(n), `${n}L`, `for ${n}`);
    }
  });

  it('gives DOUBLE to fractions, -0, NaN, the infinities and unsafe integers', () => {
    assert.equal(textOf(1.5), '1.5');
    assert.equal(textOf(-0), '-0.0');
    assert.equal(textOf(NaN), 'nan');
    assert.equal(textOf(Infinity), 'inf');
    assert.equal(textOf(-Infinity), '-inf');
    assert.equal(textOf(2 ** 53), '9007199254740992.0');
    assert.equal(textOf(-(2 ** 53)), '-9007199254740992.0');
    assert.equal(textOf(1e300), '1.0000000000000001e+300');
  });

  it('reads every number back unchanged', () => {
    const numbers = [0, -0, 1, -1, 0.1, 2 ** 31, -(2 ** 31) - 1, 2 ** 53 - 1, 2 ** 53, 2 ** 64, NaN, Infinity,
      -Infinity, Number.MIN_VALUE, Number.MAX_VALUE, Number.EPSILON];
    const { ok, value } = roundTrip({ numbers });
    assert.equal(ok, true);
    assert.equal(value.numbers.length, numbers.length);
    numbers.forEach((n, i) => assert.ok(Object.is(value.numbers[i], n), `element ${i}: ${value.numbers[i]} vs ${n}`));
  });

  it('gives LONG to a BigInt that fits in int64 and skips any other', () => {
    const result = roundTrip({
      small: 5n, max: 2n ** 63n - 1n, min: -(2n ** 63n), over: 2n ** 63n, under: -(2n ** 63n) - 1n, huge: 10n ** 40n,
    });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"small":5L,"max":9223372036854775807L,"min":-9223372036854775808L}');
    assert.deepEqual(roundTrip({ list: [1n, 2n ** 64n, 3n] }).text, '{"list":[1L,3L]}');
  });

  it('gives LONG beyond 2^53 to JavaScript as the nearest number', () => {
    const value = addon.wantWrapSample();
    assert.equal(value.longMax, 2 ** 63);
    assert.equal(value.longMin, -(2 ** 63));
    assert.equal(value.longSmall, 7);
    assert.equal(value.intMin, -(2 ** 31));
    assert.ok(Number.isNaN(value.nan));
  });
});

describe('strings and keys', () => {
  it('keeps embedded NUL characters in keys and values', () => {
    const input = { 'a\0b': 'x\0y\0', '\0': '\0' };
    const result = roundTrip(input);
    assert.equal(result.ok, true);
    assert.deepEqual(result.value, input);
    assert.equal(result.text, '{"a\\u0000b":"x\\u0000y\\u0000","\\u0000":"\\u0000"}');
    assert.equal(addon.wantWrapSample()['nul\0key'], 'a\0b');
  });

  it('reads strings and keys of every length whole, whatever their UTF-8 width', () => {
    // Covers the lengths around the short-string buffer, for 1- to 4-byte characters.
    for (const char of ['a', 'é', '€', '😀']) {
      for (let count = 0; count <= 300; count += (count > 40 && count < 260) ? 1 : 7) {
        const text = char.repeat(count);
        const padded = 'ab'.slice(0, count % 3) + text;
        const input = { [padded]: padded, short: text };
        const { ok, value } = roundTrip(input);
        assert.equal(ok, true);
        assert.deepEqual(value, input, `char ${char} x ${count}`);
      }
    }
  });

  it('reads big strings whole', () => {
    const big = '€'.repeat(3 * 1024 * 1024) + 'end';
    const key = 'k'.repeat(100000);
    const { ok, value } = roundTrip({ [key]: big });
    assert.equal(ok, true);
    assert.equal(value[key].length, big.length);
    assert.equal(value[key], big);
  });

  it('replaces lone surrogates with U+FFFD', () => {
    assert.equal(roundTrip({ s: 'a\uD800b' }).value.s, 'a\uFFFDb');
  });

  it('gives "__proto__" back as an own property, not as the prototype', () => {
    const input = JSON.parse('{"__proto__": {"polluted": true}, "after": 1}');
    const { ok, value } = roundTrip(input);
    assert.equal(ok, true);
    assert.equal(Object.getPrototypeOf(value), Object.prototype);
    assert.ok(Object.hasOwn(value, '__proto__'));
    assert.deepEqual(Object.keys(value), ['__proto__', 'after']);
    assert.equal(value.polluted, undefined);
    assert.equal({}.polluted, undefined);
    assert.ok(Object.hasOwn(addon.wantWrapSample(), '__proto__'));
  });

  it('defines properties without calling setters on Object.prototype', () => {
    let called = false;
    Object.defineProperty(Object.prototype, 'trapped', { set() { called = true; }, configurable: true });
    try {
      const { value } = roundTrip({ nested: { trapped: 1 } });
      assert.ok(Object.hasOwn(value.nested, 'trapped'));
      assert.equal(value.nested.trapped, 1);
      assert.equal(called, false);
    } finally {
      delete Object.prototype.trapped;
    }
  });
});

describe('objects and arrays', () => {
  it('keeps nested values and the key order of JavaScript', () => {
    const input = { b: 1, a: { z: 'z', y: [true, { deep: 1.25 }] }, 10: 'ten', 2: 'two' };
    const result = roundTrip(input);
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"2":"two","10":"ten","b":1,"a":{"z":"z","y":[true,{"deep":1.25}]}}');
    assert.deepEqual(result.value, input);
    assert.deepEqual(Object.keys(result.value), Object.keys(input));
    assert.equal(Object.getPrototypeOf(result.value.a), Object.prototype);
  });

  it('reads only own enumerable string-keyed properties', () => {
    const input = Object.create({ inherited: 1 });
    input.own = 2;
    input[Symbol('hidden')] = 3;
    Object.defineProperty(input, 'quiet', { value: 4, enumerable: false });
    Object.defineProperty(input, 'computed', { get: () => 5, enumerable: true });
    assert.equal(roundTrip(input).text, '{"own":2,"computed":5}');
  });

  it('skips null, undefined, functions and symbols as property values', () => {
    const result = roundTrip({ a: null, b: undefined, c() {}, d: Symbol('s'), e: class {}, f: 0 });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"f":0}');
  });

  it('drops holes, null, undefined, functions and symbols from arrays, keeping the rest in order', () => {
    // eslint-disable-next-line no-sparse-arrays
    const input = { list: [1, , null, 'two', undefined, () => 3, Symbol('s'), 4.5, [5, [null]], { six: 6 }, false] };
    const result = roundTrip(input);
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"list":[1,"two",4.5,[5,[]],{"six":6},false]}');
    assert.deepEqual(result.value.list, [1, 'two', 4.5, [5, []], { six: 6 }, false]);
    assert.ok(Array.isArray(result.value.list[3]));
  });

  it('keeps empty objects and arrays', () => {
    assert.equal(roundTrip({ o: {}, a: [], n: [[]] }).text, '{"o":{},"a":[],"n":[[]]}');
    assert.deepEqual(addon.wantWrapSample().empty, []);
  });

  it('reads other objects through their own enumerable properties', () => {
    const map = new Map([['not', 'read']]);
    map.extra = 'x';
    const result = roundTrip({ date: new Date(0), map, bytes: new Uint8Array([7, 8]), boxed: new String('hi') });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"date":{},"map":{"extra":"x"},"bytes":{"0":7,"1":8},"boxed":{"0":"h","1":"i"}}');
  });

  it('reads typed arrays and Buffers element by element, typed as numbers read in JavaScript', () => {
    const result = roundTrip({
      i8: new Int8Array([-1, 127]),
      u32: new Uint32Array([4294967295, 7]),
      f32: new Float32Array([1.5, 2]),
      f64: new Float64Array([NaN, -0]),
      i64: new BigInt64Array([-5n]),
      u64: new BigUint64Array([2n ** 64n - 1n, 3n]),
      buffer: Buffer.from('hi'),
      view: new Uint16Array(new Uint16Array([1, 2, 3, 4]).buffer, 2, 2),
      empty: new Uint8Array(0),
    });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"i8":{"0":-1,"1":127},"u32":{"0":4294967295L,"1":7},"f32":{"0":1.5,"1":2},' +
      '"f64":{"0":nan,"1":-0.0},"i64":{"0":-5L},"u64":{"1":3L},"buffer":{"0":104,"1":105},' +
      '"view":{"0":2,"1":3},"empty":{}}');
  });

  it('reads a proxy through its traps', () => {
    const proxy = new Proxy({}, {
      ownKeys: () => ['x', 'y'],
      getOwnPropertyDescriptor: () => ({ value: 0, enumerable: true, configurable: true }),
      get: (target, key) => `got ${String(key)}`,
    });
    assert.equal(roundTrip({ proxy }).text, '{"proxy":{"x":"got x","y":"got y"}}');
    // A proxy is not an array to Node-API, even around one: it reads as a map.
    assert.equal(roundTrip({ p: new Proxy([1, 2], {}) }).text, '{"p":{"0":1,"1":2}}');
  });

  it('merges into a map that already holds keys, replacing in place', () => {
    const result = roundTrip({ b: 'new', c: 3 }, { a: 1, b: 2 });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"a":1,"b":"new","c":3}');
    assert.deepEqual(Object.keys(result.value), ['a', 'b', 'c']);
  });
});

describe('input that is not a parameter object', () => {
  it('returns false, leaves the map as it was and throws nothing', () => {
    const seed = { kept: 1 };
    for (const input of [42, 'text', null, undefined, true, 1n, Symbol('s'), () => {}, [1, 2], []]) {
      const result = roundTrip(input, seed);
      assert.equal(result.ok, false, `for ${String(input)}`);
      assert.equal(result.text, '{"kept":1}', `for ${String(input)}`);
    }
  });
});

describe('limits', () => {
  it(`reads objects ${MAX_DEPTH} levels deep and leaves out deeper ones`, () => {
    const atLimit = roundTrip(nestedObject(MAX_DEPTH));
    assert.equal(atLimit.ok, true);
    assert.equal(chainLength(atLimit.value), MAX_DEPTH - 1);

    const overLimit = roundTrip(nestedObject(MAX_DEPTH + 1));
    assert.equal(overLimit.ok, false);
    assert.equal(chainLength(overLimit.value), MAX_DEPTH - 1);
    assert.match(overLimit.text, /"next":\{\}\}+$/);
  });

  it('counts arrays as levels too and keeps what sits beside a too-deep value', () => {
    let deep = [1];
    for (let level = 2; level < MAX_DEPTH; ++level) {
      deep = [deep];
    }
    // The outer object is level 1, so its innermost array is level 32.
    assert.equal(roundTrip({ deep }).ok, true);
    const result = roundTrip({ before: 1, deep: [deep], after: 2 });
    assert.equal(result.ok, false);
    assert.equal(result.value.before, 1);
    assert.equal(result.value.after, 2);
    assert.equal(result.text.includes('[1]'), false);
  });

  it('ends cyclic objects and arrays at the depth limit', () => {
    const self = { name: 'loop' };
    self.self = self;
    const result = roundTrip(self);
    assert.equal(result.ok, false);
    assert.equal(chainLength(result.value, 'self'), MAX_DEPTH - 1);

    const list = [];
    list.push(list, 1);
    const arrays = roundTrip({ list });
    assert.equal(arrays.ok, false);
    assert.equal(arrays.value.list[1], 1);
  });

  it('ends cycles that fan out, through the value limit', () => {
    const wide = {};
    for (let i = 0; i < 8; ++i) {
      wide[`k${i}`] = wide;
    }
    const result = roundTrip(wide);
    assert.equal(result.ok, false);
    assert.equal(typeof result.value.k0, 'object');
  });

  it('survives objects 10,000 levels deep, in both directions', () => {
    const result = roundTrip(nestedObject(10000));
    assert.equal(result.ok, false);
    assert.equal(chainLength(result.value), MAX_DEPTH - 1);

    const wrapped = addon.wantWrapNested(MAX_DEPTH);
    assert.equal(chainLength(wrapped), MAX_DEPTH - 1);
    assert.equal(wrapped.next.next.next.next.next.next.next.next.next.next.next.next.next.next.next.next.next.next
      .next.next.next.next.next.next.next.next.next.next.next.next.next.leaf, MAX_DEPTH);
    assert.equal(addon.wantWrapNested(MAX_DEPTH + 1), null);
    assert.equal(addon.wantWrapNested(10000), null);
  });

  it(`reads at most ${MAX_VALUES} values and keeps the ones read`, () => {
    const flat = {};
    for (let i = 0; i < MAX_VALUES; ++i) {
      flat[`k${i}`] = i;
    }
    const full = roundTrip(flat);
    assert.equal(full.ok, true);
    assert.equal(Object.keys(full.value).length, MAX_VALUES);

    flat.extra = 'one too many';
    const cut = roundTrip(flat);
    assert.equal(cut.ok, false);
    assert.equal(Object.keys(cut.value).length, MAX_VALUES);
    assert.equal(cut.value[`k${MAX_VALUES - 1}`], MAX_VALUES - 1);
    assert.equal(cut.value.extra, undefined);
  });

  it('counts nested containers and skipped values towards the limit', () => {
    const half = MAX_VALUES / 2 - 1;
    const nested = { a: new Array(half).fill(null), b: {} };
    for (let i = 0; i < half; ++i) {
      nested.b[i] = i;
    }
    // 2 containers + 2 * half elements = MAX_VALUES.
    assert.equal(roundTrip(nested).ok, true);
    nested.b.extra = 1;
    const cut = roundTrip(nested);
    assert.equal(cut.ok, false);
    assert.deepEqual(cut.value.a, []);
    assert.equal(Object.keys(cut.value.b).length, half);
  });

  it('stops early in a huge typed array', () => {
    const bytes = new Uint8Array(1e7).fill(9);
    const result = roundTrip({ bytes });
    assert.equal(result.ok, false);
    const keys = Object.keys(result.value.bytes);
    assert.equal(keys.length, MAX_VALUES - 1);
    assert.equal(keys.at(-1), String(MAX_VALUES - 2));
    assert.equal(result.value.bytes[0], 9);
  });

  it('stops early in a huge sparse array', () => {
    const sparse = [];
    sparse.length = 1e7;
    sparse[0] = 'first';
    sparse[5e6] = 'far';
    const result = roundTrip({ sparse, after: 1 });
    assert.equal(result.ok, false);
    assert.deepEqual(result.value, { sparse: ['first'] });
  });
});

describe('exceptions while reading', () => {
  const throwingGetter = (error) => ({
    before: 1,
    get broken() { throw error; },
    after: 2,
  });

  it('lets the error of a getter reach the caller', () => {
    const error = new Error('getter failed');
    assert.throws(() => roundTrip(throwingGetter(error)), (thrown) => thrown === error);
  });

  it('stops at once and keeps what was read before', () => {
    const error = new RangeError('no');
    const result = addon.wantUnwrapSettled({ outer: 'kept', nested: throwingGetter(error), last: 3 });
    assert.equal(result.ok, false);
    assert.equal(result.error, error);
    assert.equal(result.text, '{"outer":"kept","nested":{"before":1}}');
  });

  it('stops on a throwing array element getter', () => {
    const list = [1, 2, 3];
    Object.defineProperty(list, 1, { get() { throw new TypeError('element'); } });
    const result = addon.wantUnwrapSettled({ list });
    assert.equal(result.ok, false);
    assert.equal(result.error.message, 'element');
    assert.equal(result.text, '{"list":[1]}');
  });

  it('lets proxy trap errors and revoked proxies reach the caller', () => {
    const trapError = new Error('ownKeys trap');
    const throwing = new Proxy({}, { ownKeys() { throw trapError; } });
    assert.throws(() => roundTrip({ throwing }), (thrown) => thrown === trapError);

    const { proxy, revoke } = Proxy.revocable({}, {});
    revoke();
    assert.throws(() => roundTrip(proxy), TypeError);
    assert.throws(() => roundTrip({ inner: proxy }), TypeError);
  });
});
