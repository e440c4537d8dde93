'use strict';
// A simple driver: keeps to the speed limit, slows down for turns and lower
// limits ahead with a comfortable deceleration, and stops at the
// destination. Speeds in km/h, distances in metres, times in seconds.
const { TurnMode } = require('./turn_modes');

const ACCELERATION = 2.0; // m/s², speeding up
const BRAKING = 2.0; // m/s², planned slowing down (the curve the driver follows)
const MAX_BRAKING = 4.0; // m/s², the most the car slows down in one step
const KMH = 3.6;

// How fast the car takes the manoeuvre at the end of a stretch.
const TURN_SPEED = {
  [TurnMode.NONE]: Infinity,
  [TurnMode.STRAIGHT]: Infinity,
  [TurnMode.SLIGHT_LEFT]: 50,
  [TurnMode.SLIGHT_RIGHT]: 50,
  [TurnMode.LEFT]: 25,
  [TurnMode.RIGHT]: 25,
  [TurnMode.SHARP_LEFT]: 15,
  [TurnMode.SHARP_RIGHT]: 15,
  [TurnMode.U_TURN]: 10,
  [TurnMode.ARRIVE]: 0,
};

function turnSpeed(turnMode) {
  return TURN_SPEED[turnMode] ?? Infinity;
}

// The speed to drive now: the limit, or less where braking at BRAKING from
// here just reaches `speedAhead` over `distanceAhead`.
function targetSpeed(limit, distanceAhead, speedAhead) {
  const ahead = Math.min(speedAhead, limit) / KMH;
  const brakingCurve = Math.sqrt(ahead * ahead + 2 * BRAKING * Math.max(0, distanceAhead)) * KMH;
  return Math.min(limit, brakingCurve);
}

// The speed after dt seconds of driving towards target.
function nextSpeed(current, target, dt) {
  if (current < target) return Math.min(target, current + ACCELERATION * KMH * dt);
  return Math.max(target, current - MAX_BRAKING * KMH * dt, 0);
}

module.exports = { turnSpeed, targetSpeed, nextSpeed };
