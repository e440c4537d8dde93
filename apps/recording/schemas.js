'use strict';
// The JSON schemas of a recording's channels: one per kind of record, as the
// module gives them to followers, so that Foxglove and other MCAP viewers
// can show and plot every field.
const location = {
  type: 'object',
  properties: {
    name: { type: 'string' },
    coordType: { type: 'integer', description: 'LocationCoordType' },
    longitude: { type: 'number' },
    latitude: { type: 'number' },
    altitude: { type: 'number' },
  },
};

const STATUS_SCHEMA = {
  title: 'navinfo.NavigationStatus',
  description: 'The status a navigation application published',
  type: 'object',
  properties: {
    status: { type: 'integer', description: 'MapStatus: 0 IDLE, 1 NAVIGATION, 2 CRUISE, 3 POI, 4 ROUTE, 5 UNAVAILABLE' },
    naviType: { type: 'integer', description: 'NaviType' },
    destLocation: location,
    passPoint: { type: 'array', items: location },
    routeIndex: { type: 'integer' },
    customData: { type: 'string' },
    theme: { type: 'integer', description: 'ThemeType: 0 LIGHT, 1 DARK' },
    routePreference: { type: 'array', items: { type: 'integer', description: 'RoutePreference' } },
  },
};

const GUIDANCE_SCHEMA = {
  title: 'navinfo.NavigationMetadata',
  description: 'The live guidance a navigation application published',
  type: 'object',
  properties: {
    naviTurnMode: { type: 'integer', description: 'the manoeuvre at the end of the current road' },
    segmentLeftDis: { type: 'integer', description: 'metres to the manoeuvre' },
    currentRoadName: { type: 'string' },
    nextRoadName: { type: 'string' },
    intersectionView: { type: 'string' },
    viewWidth: { type: 'integer' },
    viewHeight: { type: 'integer' },
    trafficLane: { type: 'string' },
    cameraSpeedLimitValid: { type: 'boolean' },
    cameraSpeedLimit: { type: 'integer', description: 'km/h' },
    naviSpeedLimitValid: { type: 'boolean' },
    naviSpeedLimit: { type: 'integer', description: 'km/h' },
    currentSpeed: { type: 'integer', description: 'km/h' },
    naviBearing: { type: 'number', description: 'degrees clockwise from north' },
    totalLeftDis: { type: 'integer', description: 'metres' },
    remainingTime: { type: 'integer', description: 'seconds' },
    customData: { type: 'object', description: 'free-form data of the navigation application' },
  },
};

// A query or command another application sent to the recorded bundle (--requests).
const REQUEST_SCHEMA = {
  title: 'navinfo.ObservedRequest',
  description: 'A query or command the service accepted for the recorded navigation application',
  type: 'object',
  properties: {
    requestId: { type: 'integer', description: 'the service\'s id of the request; its answer carries the same' },
    requester: { type: 'string', description: 'bundle name of the application that asked' },
    kind: { type: 'string', description: 'query or command' },
    type: { type: 'string', description: 'QueryType or CommandType' },
    params: { type: 'object', description: 'the parameters of the request' },
  },
};

// What the requester was answered: the navigation application's answer, or
// the service's own (1004 timed out, 1003 not found, 1002 unavailable).
const ANSWER_SCHEMA = {
  title: 'navinfo.ObservedAnswer',
  description: 'The answer to a query or command the recorded navigation application was sent',
  type: 'object',
  properties: {
    requestId: { type: 'integer', description: 'the id of the request answered' },
    kind: { type: 'string', description: 'query or command' },
    type: { type: 'string', description: 'QueryType or CommandType' },
    code: { type: 'integer', description: '0, or a result code' },
    message: { type: 'string' },
    data: { type: 'object' },
  },
};

// The kinds of record, by the name their channels carry.
const KINDS = {
  status: { topic: 'status', schema: STATUS_SCHEMA },
  guidance: { topic: 'guidance', schema: GUIDANCE_SCHEMA },
  requests: { topic: 'requests', schema: REQUEST_SCHEMA },
  answers: { topic: 'answers', schema: ANSWER_SCHEMA },
};

const topicOf = (bundle, kind) => `/${bundle}/${KINDS[kind].topic}`;

module.exports = { KINDS, topicOf, STATUS_SCHEMA, GUIDANCE_SCHEMA, REQUEST_SCHEMA, ANSWER_SCHEMA };
