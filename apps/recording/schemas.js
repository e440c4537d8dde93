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

// The kinds of record, by the name their channels carry.
const KINDS = {
  status: { topic: 'status', schema: STATUS_SCHEMA },
  guidance: { topic: 'guidance', schema: GUIDANCE_SCHEMA },
};

const topicOf = (bundle, kind) => `/${bundle}/${KINDS[kind].topic}`;

module.exports = { KINDS, topicOf, STATUS_SCHEMA, GUIDANCE_SCHEMA };
