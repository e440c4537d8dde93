'use strict';
// Strict checks of what the client API sends: every field of a record by
// name, type and range, texts by what the record can carry, free-form data
// by what the service's parameter maps keep. Each check throws the first
// problem it finds as a TypeError or RangeError naming the field, before
// anything is sent.
const { invalidType, invalidValue, outOfRange } = require('./errors');
const { nav } = require('./bindings');

const TEXT_MAX_BYTES = 255; // what the module reads of one text
const WANT_MAX_DEPTH = 32; // nesting levels the parameter maps keep, the object itself being the first
const WANT_MAX_VALUES = 100000; // values the parameter maps read from one object

const integer = (min, max) => ({ check: checkInteger, min, max });
const oneOf = (enumeration, name) => ({ check: checkEnum, values: Object.values(enumeration), name });
const record = (fields) => ({ check: checkRecord, fields });
const listOf = (element) => ({ check: checkList, element });
const INT32 = integer(-(2 ** 31), 2 ** 31 - 1);
const UINT32 = integer(0, 2 ** 32 - 1);
const UINT16 = integer(0, 2 ** 16 - 1);
const NUMBER = { check: checkFinite };
const BOOLEAN = { check: checkBoolean };
const NAME = { check: checkText, maxBytes: TEXT_MAX_BYTES };
const LONG_TEXT = { check: checkText, maxBytes: Infinity }; // the two text vectors of the metadata
const WANT = { check: checkWantObject };

const LOCATION = record({
  name: NAME,
  coordType: oneOf(nav.LocationCoordType, 'LocationCoordType'),
  longitude: NUMBER,
  latitude: NUMBER,
  altitude: NUMBER,
});

const STATUS = record({
  status: oneOf(nav.MapStatus, 'MapStatus'),
  naviType: oneOf(nav.NaviType, 'NaviType'),
  destLocation: LOCATION,
  passPoint: listOf(LOCATION),
  routeIndex: INT32,
  customData: NAME,
  theme: oneOf(nav.ThemeType, 'ThemeType'),
  routePreference: listOf(oneOf(nav.RoutePreference, 'RoutePreference')),
});

const METADATA = record({
  naviTurnMode: UINT16,
  segmentLeftDis: UINT32,
  currentRoadName: NAME,
  nextRoadName: NAME,
  intersectionView: LONG_TEXT,
  viewWidth: UINT32,
  viewHeight: UINT32,
  trafficLane: LONG_TEXT,
  cameraSpeedLimitValid: BOOLEAN,
  cameraSpeedLimit: UINT32,
  naviSpeedLimitValid: BOOLEAN,
  naviSpeedLimit: UINT32,
  currentSpeed: UINT32,
  naviBearing: NUMBER,
  totalLeftDis: UINT32,
  remainingTime: UINT32,
  customData: WANT,
});

const ANSWER = record({ code: INT32, message: NAME, data: WANT });

function checkInteger(path, value, { min, max }) {
  if (typeof value !== 'number') throw invalidType(path, 'of type number', value);
  if (!Number.isInteger(value)) throw outOfRange(path, 'an integer', value);
  if (value < min || value > max) throw outOfRange(path, `>= ${min} && <= ${max}`, value);
}

function checkEnum(path, value, { values, name }) {
  if (typeof value !== 'number') throw invalidType(path, 'of type number', value);
  if (!values.includes(value)) throw outOfRange(path, `one of ${values.join(', ')} (${name})`, value);
}

function checkFinite(path, value) {
  if (typeof value !== 'number') throw invalidType(path, 'of type number', value);
  if (!Number.isFinite(value)) throw outOfRange(path, 'a finite number', value);
}

function checkBoolean(path, value) {
  if (typeof value !== 'boolean') throw invalidType(path, 'of type boolean', value);
}

function checkText(path, value, { maxBytes }) {
  if (typeof value !== 'string') throw invalidType(path, 'of type string', value);
  if (value.includes('\0') || !value.isWellFormed()) {
    throw invalidValue(path, 'must not hold U+0000 or lone surrogates, which the record does not keep', value);
  }
  if (maxBytes !== Infinity && Buffer.byteLength(value) > maxBytes) {
    throw outOfRange(path, `at most ${maxBytes} bytes of UTF-8`, value);
  }
}

function isPlainObject(value) {
  if (typeof value !== 'object' || value === null || Array.isArray(value)) return false;
  const proto = Object.getPrototypeOf(value);
  return proto === Object.prototype || proto === null;
}

function checkRecord(path, value, { fields }) {
  if (!isPlainObject(value)) throw invalidType(path, 'a plain object', value);
  for (const key of Object.keys(value)) {
    if (!Object.hasOwn(fields, key)) throw invalidValue(`${path}.${key}`, 'is not a field of the record', value[key]);
    fields[key].check(`${path}.${key}`, value[key], fields[key]);
  }
}

function checkList(path, value, { element }) {
  if (!Array.isArray(value)) throw invalidType(path, 'an array', value);
  for (let i = 0; i < value.length; i++) element.check(`${path}[${i}]`, value[i], element);
}

// Free-form data: plain objects and arrays of booleans, strings, numbers and
// 64-bit BigInts, which the parameter maps keep and give back as they were.
function checkWantObject(path, value) {
  if (!isPlainObject(value)) throw invalidType(path, 'a plain object', value);
  checkWantValue(path, value, 1, { values: 0 });
}

function checkWantValue(path, value, depth, count) {
  if (++count.values > WANT_MAX_VALUES) throw outOfRange(path, `part of at most ${WANT_MAX_VALUES} values`, value);
  switch (typeof value) {
    case 'boolean':
    case 'number':
      return;
    case 'string':
      if (!value.isWellFormed()) throw invalidValue(path, 'must not hold lone surrogates', value);
      return;
    case 'bigint':
      if (BigInt.asIntN(64, value) !== value) throw outOfRange(path, 'a 64-bit signed integer', value);
      return;
    default:
  }
  const isArray = Array.isArray(value);
  if (!isArray && !isPlainObject(value)) {
    throw invalidType(path, 'a boolean, string, number, bigint, array or plain object', value);
  }
  if (depth >= WANT_MAX_DEPTH) throw outOfRange(path, `nested at most ${WANT_MAX_DEPTH} levels deep`, value);
  if (isArray) {
    for (let i = 0; i < value.length; i++) {
      if (!(i in value)) throw invalidValue(`${path}[${i}]`, 'is a hole; arrays must be dense', undefined);
      checkWantValue(`${path}[${i}]`, value[i], depth + 1, count);
    }
  } else {
    for (const key of Object.keys(value)) checkWantValue(`${path}.${key}`, value[key], depth + 1, count);
  }
}

// The strict checks the client API makes of its arguments.
const checkStatus = (status) => STATUS.check('status', status, STATUS);
const checkMetadata = (metadata) => METADATA.check('metadata', metadata, METADATA);
const checkParams = (params) => checkWantObject('params', params);
// An answer of a handler; undefined counts as an empty one.
const checkAnswer = (answer) => ANSWER.check('answer', answer, ANSWER);

function checkBundleName(bundleName) {
  if (typeof bundleName !== 'string') throw invalidType('bundleName', 'of type string', bundleName, 'argument');
  if (bundleName === '') throw invalidValue('bundleName', 'must not be empty', bundleName, 'argument');
  checkText('bundleName', bundleName, NAME);
}

function checkOneOf(name, value, allowed) {
  if (typeof value !== 'string') throw invalidType(name, 'of type string', value, 'argument');
  if (!allowed.includes(value)) throw invalidValue(name, `must be one of ${allowed.join(', ')}`, value, 'argument');
}

function checkSignal(signal) {
  if (signal !== undefined && (signal === null || typeof signal !== 'object' || !('aborted' in signal) ||
      typeof signal.addEventListener !== 'function')) {
    throw invalidType('options.signal', 'an instance of AbortSignal', signal);
  }
}

function checkOptions(options, allowed) {
  if (options === undefined) return {};
  if (options === null || typeof options !== 'object') {
    throw invalidType('options', 'of type object', options, 'argument');
  }
  for (const key of Object.keys(options)) {
    if (!allowed.includes(key)) throw invalidValue(`options.${key}`, 'is not an option here', options[key]);
  }
  checkSignal(options.signal);
  return options;
}

module.exports = {
  checkStatus, checkMetadata, checkParams, checkAnswer, checkBundleName, checkOneOf, checkOptions, isPlainObject,
  INT32, TEXT_MAX_BYTES,
};
