'use strict';
// A playable route: road stretches one after the other, each with its road
// name, speed limit and lanes, the manoeuvre at its end derived from the
// geometry, and distances measured along the way.
//
// outline: { name, destination: { name }, stretches: [{ road, speedLimit,
// lanes, camera, points: [{ lat, lon }, ...], turnAngle? }] } as route_file.js
// reads it.
// A stretch that does not start where the previous one ended is joined to it.
const { distance, bearing, headingChange, interpolate } = require('./geometry');
const { TurnMode, classifyTurn } = require('./turn_modes');

// Closer than this, two consecutive points are the same point.
const SAME_POINT_M = 0.5;

function pieces(points, start) {
  const out = [];
  let at = start;
  for (let i = 1; i < points.length; i++) {
    const a = points[i - 1];
    const b = points[i];
    const length = distance(a, b);
    if (length < SAME_POINT_M) continue;
    out.push({ a, b, start: at, length, bearing: bearing(a, b) });
    at += length;
  }
  return out;
}

function buildRoute(outline) {
  const stretches = [];
  let at = 0;
  let previousEnd = null;
  for (const [index, stretch] of outline.stretches.entries()) {
    const points = previousEnd && distance(previousEnd, stretch.points[0]) >= SAME_POINT_M
      ? [previousEnd, ...stretch.points] : stretch.points;
    const parts = pieces(points, at);
    if (parts.length === 0) throw new Error(`stretch ${index + 1} (${stretch.road}) has no length`);
    const length = parts.reduce((sum, part) => sum + part.length, 0);
    stretches.push({
      road: stretch.road,
      speedLimit: stretch.speedLimit,
      lanes: stretch.lanes || '',
      camera: stretch.camera || 0,
      start: at,
      length,
      pieces: parts,
      turnMode: TurnMode.ARRIVE, // set below for all but the last
    });
    at += length;
    previousEnd = parts[parts.length - 1].b;
  }
  if (stretches.length === 0) throw new Error('the route has no stretches');
  for (let i = 0; i + 1 < stretches.length; i++) {
    const incoming = stretches[i].pieces.at(-1).bearing;
    const outgoing = stretches[i + 1].pieces[0].bearing;
    // A turn measured along a recorded track (its corner spread over several
    // points) is truer than the bearings of the two pieces at the cut.
    const { turnAngle } = outline.stretches[i];
    stretches[i].turnMode = classifyTurn(turnAngle ?? headingChange(incoming, outgoing));
  }
  const first = stretches[0].pieces[0].a;
  const last = stretches.at(-1).pieces.at(-1).b;
  return {
    name: outline.name,
    destination: { name: outline.destination.name, lat: last.lat, lon: last.lon },
    start: first,
    stretches,
    length: at,
  };
}

// The last index i of items with start(items[i]) <= s (binary search).
function lastStartingBefore(items, s) {
  let lo = 0;
  let hi = items.length - 1;
  while (lo < hi) {
    const mid = (lo + hi + 1) >> 1;
    if (items[mid].start <= s) lo = mid; else hi = mid - 1;
  }
  return lo;
}

// Where the car is after s metres (clamped to the route): its stretch, point
// and heading.
function positionAt(route, s) {
  const at = Math.min(Math.max(s, 0), route.length);
  const stretchIndex = lastStartingBefore(route.stretches, at);
  const stretch = route.stretches[stretchIndex];
  const piece = stretch.pieces[lastStartingBefore(stretch.pieces, at)];
  const t = Math.min(1, (at - piece.start) / piece.length);
  return { stretchIndex, stretch, point: interpolate(piece.a, piece.b, t), bearing: piece.bearing, distance: at };
}

// The points where the road changes (the junctions), start and end included.
function junctions(route) {
  return [route.start, ...route.stretches.map((stretch) => stretch.pieces.at(-1).b)];
}

module.exports = { buildRoute, positionAt, junctions };
