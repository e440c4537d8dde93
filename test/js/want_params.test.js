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

// An object nested `levels` deep, the outermost being level 1.
function nestedObject(levels) {
  let value = { leaf: true };
  for (let level = levels; level > 1; --level) value = { next: value };
  return value;
}

// How many `link` properties lead from value to the last object.
function chainLength(value, link = 'next') {
  let count = 0;
  for (; value[link] !== undefined; value = value[link]) ++count;
  return count;
}

describe('numbers', () => {
  it('types each number so that it reads back unchanged', () => {
    const cases = [[0, '0'], [-2147483648, '-2147483648'], [2147483647, '2147483647'],
      [2147483648, '2147483648L'], [-2147483649, '-2147483649L'], [Number.MAX_SAFE_INTEGER, '9007199254740991L'],
      [Number.MIN_SAFE_INTEGER, '-9007199254740991L'], [2 ** 53, '9007199254740992.0'], [1.5, '1.5'],
      [-0, '-0.0'], [NaN, 'nan'], [Infinity, 'inf'], [-Infinity, '-inf'], [1e300, '1.0000000000000001e+300']];
    const { ok, text, value } = roundTrip({ list: cases.map(([n]) => n) });
    assert.equal(ok, true);
    assert.equal(text, `{"list":[${cases.map(([, t]) => t).join(',')}]}`);
    cases.forEach(([n], i) => assert.ok(Object.is(value.list[i], n), `element ${i}: ${value.list[i]} vs ${n}`));
  });

  it('gives LONG to a BigInt that fits in int64 and skips any other', () => {
    const result = roundTrip({ max: 2n ** 63n - 1n, min: -(2n ** 63n), over: 2n ** 63n, under: -(2n ** 63n) - 1n,
      list: [1n, 2n ** 64n, 3n] });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"max":9223372036854775807L,"min":-9223372036854775808L,"list":[1L,3L]}');
  });
});

describe('strings and keys', () => {
  it('keeps embedded NUL characters in keys and values', () => {
    const input = { 'a\0b': 'x\0y\0', '\0': '\0' };
    const result = roundTrip(input);
    assert.deepEqual(result.value, input);
    assert.equal(result.text, '{"a\\u0000b":"x\\u0000y\\u0000","\\u0000":"\\u0000"}');
  });

  it('reads strings and keys of every length whole, whatever their UTF-8 width', () => {
    // Covers the lengths around the short-string buffer, for 1- to 4-byte characters.
    for (const char of ['a', 'é', '€', '😀']) {
      for (let count = 0; count <= 300; count += (count > 40 && count < 260) ? 1 : 7) {
        const text = 'ab'.slice(0, count % 3) + char.repeat(count);
        const input = { [text]: text };
        assert.deepEqual(roundTrip(input).value, input, `char ${char} x ${count}`);
      }
    }
    const big = '€'.repeat(3 * 1024 * 1024) + 'end';
    const key = 'k'.repeat(100000);
    assert.equal(roundTrip({ [key]: big }).value[key], big);
    assert.equal(roundTrip({ s: 'a\uD800b' }).value.s, 'a\uFFFDb');
  });
});

describe('objects and arrays', () => {
  it('keeps nested values and the key order of JavaScript', () => {
    const input = { b: 1, a: { z: 'z', y: [true, { deep: 1.25 }, []] }, 10: 'ten', 2: 'two', e: {} };
    const result = roundTrip(input);
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"2":"two","10":"ten","b":1,"a":{"z":"z","y":[true,{"deep":1.25},[]]},"e":{}}');
    assert.deepEqual(result.value, input);
    assert.deepEqual(Object.keys(result.value), Object.keys(input));
  });

  it('reads only own enumerable string-keyed properties', () => {
    const input = Object.create({ inherited: 1 });
    input.own = 2;
    input[Symbol('hidden')] = 3;
    Object.defineProperty(input, 'quiet', { value: 4, enumerable: false });
    Object.defineProperty(input, 'computed', { get: () => 5, enumerable: true });
    assert.equal(roundTrip(input).text, '{"own":2,"computed":5}');
  });

  it('skips values without a WantValue form, in objects and arrays', () => {
    // eslint-disable-next-line no-sparse-arrays
    const list = [1, , null, 'two', undefined, () => 3, Symbol('s'), [5, [null]], { six: 6 }, false];
    const result = roundTrip({ a: null, b: undefined, c() {}, d: Symbol('s'), e: class {}, list });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"list":[1,"two",[5,[]],{"six":6},false]}');
  });

  it('reads other objects through their own enumerable properties', () => {
    const map = new Map([['not', 'read']]);
    map.extra = 'x';
    const result = roundTrip({ date: new Date(0), map, boxed: new String('hi') });
    assert.equal(result.text, '{"date":{},"map":{"extra":"x"},"boxed":{"0":"h","1":"i"}}');
  });

  it('reads typed arrays and Buffers element by element, typed as numbers read in JavaScript', () => {
    const result = roundTrip({
      i8: new Int8Array([-1, 127]), u32: new Uint32Array([4294967295, 7]), f32: new Float32Array([1.5, 2]),
      f64: new Float64Array([NaN, -0]), i64: new BigInt64Array([-5n]), u64: new BigUint64Array([2n ** 64n - 1n, 3n]),
      buffer: Buffer.from('hi'), view: new Uint16Array(new Uint16Array([1, 2, 3, 4]).buffer, 2, 2),
    });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"i8":{"0":-1,"1":127},"u32":{"0":4294967295L,"1":7},"f32":{"0":1.5,"1":2},' +
      '"f64":{"0":nan,"1":-0.0},"i64":{"0":-5L},"u64":{"1":3L},"buffer":{"0":104,"1":105},"view":{"0":2,"1":3}}');
  });

  it('reads a proxy through its traps, as a map even around an array', () => {
    const proxy = new Proxy({}, {
      ownKeys: () => ['x', 'y'],
      getOwnPropertyDescriptor: () => ({ value: 0, enumerable: true, configurable: true }),
      get: (target, key) => `got ${String(key)}`,
    });
    assert.equal(roundTrip({ proxy, p: new Proxy([1, 2], {}) }).text,
      '{"proxy":{"x":"got x","y":"got y"},"p":{"0":1,"1":2}}');
  });

  it('merges into a map that already holds keys, replacing in place', () => {
    const result = roundTrip({ b: 'new', c: 3 }, { a: 1, b: 2 });
    assert.equal(result.ok, true);
    assert.equal(result.text, '{"a":1,"b":"new","c":3}');
  });

  it('refuses anything but a non-array object, leaving the map as it was', () => {
    for (const input of [42, 'text', null, undefined, true, 1n, Symbol('s'), () => {}, [1, 2]]) {
      const result = roundTrip(input, { kept: 1 });
      assert.equal(result.ok, false, `for ${String(input)}`);
      assert.equal(result.text, '{"kept":1}', `for ${String(input)}`);
    }
  });
});

describe('wrap', () => {
  it('gives LONG beyond 2^53 as the nearest number and keeps awkward keys', () => {
    const value = addon.wantWrapSample();
    assert.equal(value.longMax, 2 ** 63);
    assert.equal(value.longMin, -(2 ** 63));
    assert.equal(value['nul\0key'], 'a\0b');
    assert.ok(Number.isNaN(value.nan));
    assert.deepEqual(value.empty, []);
    assert.ok(Object.hasOwn(value, '__proto__'));
    assert.equal(Object.getPrototypeOf(value), Object.prototype);
  });

  it('defines own properties: no prototype change, no setter on Object.prototype called', () => {
    let called = false;
    Object.defineProperty(Object.prototype, 'trapped', { set() { called = true; }, configurable: true });
    try {
      const { value } = roundTrip(JSON.parse('{"__proto__": {"polluted": true}, "n": {"trapped": 1}}'));
      assert.deepEqual(Object.keys(value), ['__proto__', 'n']);
      assert.equal(Object.getPrototypeOf(value), Object.prototype);
      assert.equal(value.polluted, undefined);
      assert.ok(Object.hasOwn(value.n, 'trapped'));
      assert.equal(called, false);
    } finally {
      delete Object.prototype.trapped;
    }
  });

  it(`writes maps ${MAX_DEPTH} levels deep and gives null for deeper ones`, () => {
    const wrapped = addon.wantWrapNested(MAX_DEPTH);
    assert.equal(chainLength(wrapped), MAX_DEPTH - 1);
    let last = wrapped;
    while (last.next) last = last.next;
    assert.equal(last.leaf, MAX_DEPTH);
    assert.equal(addon.wantWrapNested(MAX_DEPTH + 1), null);
    assert.equal(addon.wantWrapNested(10000), null);
  });
});

describe('limits', () => {
  it(`reads ${MAX_DEPTH} levels of objects and arrays and leaves out deeper ones`, () => {
    const atLimit = roundTrip(nestedObject(MAX_DEPTH));
    assert.equal(atLimit.ok, true);
    assert.equal(chainLength(atLimit.value), MAX_DEPTH - 1);
    const overLimit = roundTrip(nestedObject(MAX_DEPTH + 1));
    assert.equal(overLimit.ok, false);
    assert.equal(chainLength(overLimit.value), MAX_DEPTH - 1);

    let deep = [1];
    for (let level = 2; level < MAX_DEPTH; ++level) deep = [deep];
    assert.equal(roundTrip({ deep }).ok, true);
    const result = roundTrip({ before: 1, deep: [deep], after: 2 });
    assert.equal(result.ok, false);
    assert.equal(result.text.includes('[1]'), false);
    assert.equal(result.value.after, 2);
  });

  it('ends cycles and 10,000-deep objects', () => {
    const self = { name: 'loop' };
    self.self = self;
    const result = roundTrip(self);
    assert.equal(result.ok, false);
    assert.equal(chainLength(result.value, 'self'), MAX_DEPTH - 1);

    const list = [];
    list.push(list, 1);
    assert.equal(roundTrip({ list }).value.list[1], 1);

    // Fanning out, a cycle would take 8^32 steps: the value limit ends it.
    const wide = {};
    for (let i = 0; i < 8; ++i) wide[`k${i}`] = wide;
    assert.equal(roundTrip(wide).ok, false);

    assert.equal(chainLength(roundTrip(nestedObject(10000)).value), MAX_DEPTH - 1);
  });

  it(`reads at most ${MAX_VALUES} values, containers and skipped ones included, and keeps them`, () => {
    const flat = {};
    for (let i = 0; i < MAX_VALUES; ++i) flat[`k${i}`] = i;
    assert.equal(roundTrip(flat).ok, true);
    flat.extra = 'one too many';
    const cut = roundTrip(flat);
    assert.equal(cut.ok, false);
    assert.equal(Object.keys(cut.value).length, MAX_VALUES);
    assert.equal(cut.value.extra, undefined);

    const half = MAX_VALUES / 2 - 1;
    const nested = { a: new Array(half).fill(null), b: Object.fromEntries(Array.from({ length: half }, (_, i) => [i, i])) };
    assert.equal(roundTrip(nested).ok, true); // 2 containers + 2 * half values
    nested.b.extra = 1;
    assert.equal(roundTrip(nested).ok, false);
  });

  it('stops early in huge typed and sparse arrays', () => {
    const bytes = roundTrip({ bytes: new Uint8Array(1e7).fill(9) });
    assert.equal(bytes.ok, false);
    assert.equal(Object.keys(bytes.value.bytes).length, MAX_VALUES - 1);

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
  it('lets the error of a getter or proxy trap reach the caller', () => {
    const error = new Error('getter failed');
    assert.throws(() => roundTrip({ get broken() { throw error; } }), (thrown) => thrown === error);
    const trapError = new Error('ownKeys trap');
    assert.throws(() => roundTrip({ p: new Proxy({}, { ownKeys() { throw trapError; } }) }), (t) => t === trapError);
    const { proxy, revoke } = Proxy.revocable({}, {});
    revoke();
    assert.throws(() => roundTrip({ inner: proxy }), TypeError);
  });

  it('stops at once and keeps what was read before', () => {
    const error = new RangeError('no');
    const nested = { before: 1, get broken() { throw error; }, after: 2 };
    const result = addon.wantUnwrapSettled({ outer: 'kept', nested, last: 3 });
    assert.equal(result.ok, false);
    assert.equal(result.error, error);
    assert.equal(result.text, '{"outer":"kept","nested":{"before":1}}');

    const list = [1, 2, 3];
    Object.defineProperty(list, 1, { get() { throw new TypeError('element'); } });
    assert.equal(addon.wantUnwrapSettled({ list }).text, '{"list":[1]}');
  });
});
