'use strict';
// The guidance a navigation application shows at one point of a route, as a
// NavigationMetadata record: the manoeuvre ahead, distances, roads, limits,
// lanes, heading and the time left. Distances in metres, speeds in km/h,
// time in seconds.
const { positionAt } = require('./route');
const { TurnMode } = require('./turn_modes');
const { turnSpeed } = require('./speed_model');

// The time left assumes the rest of the route driven at this share of each
// road's limit (the car cannot always drive at the limit).
const CRUISE_SHARE = 0.9;

// Seconds to drive from s to the destination.
function remainingTime(route, s) {
  let seconds = 0;
  for (const stretch of route.stretches) {
    const left = Math.min(stretch.length, stretch.start + stretch.length - s);
    if (left <= 0) continue;
    seconds += left / ((stretch.speedLimit * CRUISE_SHARE) / 3.6);
  }
  return seconds;
}

// What to slow down for at the end of the current stretch: the turn, or the
// next road's lower limit.
function speedAhead(route, stretchIndex) {
  const stretch = route.stretches[stretchIndex];
  const next = route.stretches[stretchIndex + 1];
  return Math.min(turnSpeed(stretch.turnMode), next ? next.speedLimit : 0);
}

function guidanceAt(route, s, speed) {
  const { stretchIndex, stretch, point, bearing, distance } = positionAt(route, s);
  const next = route.stretches[stretchIndex + 1];
  const arrived = distance >= route.length;
  return {
    naviTurnMode: stretch.turnMode,
    segmentLeftDis: Math.round(stretch.start + stretch.length - distance),
    currentRoadName: stretch.road,
    nextRoadName: next ? next.road : route.destination.name,
    intersectionView: '',
    viewWidth: 0,
    viewHeight: 0,
    trafficLane: stretch.lanes,
    cameraSpeedLimitValid: stretch.camera > 0,
    cameraSpeedLimit: stretch.camera,
    naviSpeedLimitValid: true,
    naviSpeedLimit: stretch.speedLimit,
    currentSpeed: Math.round(speed),
    naviBearing: Math.round(bearing * 10) / 10,
    totalLeftDis: Math.round(route.length - distance),
    remainingTime: arrived ? 0 : Math.round(remainingTime(route, distance)),
    customData: {
      route: route.name,
      latitude: Math.round(point.lat * 1e6) / 1e6,
      longitude: Math.round(point.lon * 1e6) / 1e6,
      progress: Math.round((distance / route.length) * 1000) / 1000,
    },
  };
}

module.exports = { guidanceAt, remainingTime, speedAhead, TurnMode, CRUISE_SHARE };
