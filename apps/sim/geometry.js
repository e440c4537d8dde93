'use strict';
// Distances and headings on the earth's surface for route playback. Points
// are { lat, lon } in degrees (WGS-84); distances in metres; bearings in
// degrees clockwise from north, 0 to 360.
const EARTH_RADIUS_M = 6371008.8;
const rad = (deg) => (deg * Math.PI) / 180;
const deg = (r) => (r * 180) / Math.PI;

// Great-circle distance (haversine).
function distance(a, b) {
  const dLat = rad(b.lat - a.lat);
  const dLon = rad(b.lon - a.lon);
  const h = Math.sin(dLat / 2) ** 2 + Math.cos(rad(a.lat)) * Math.cos(rad(b.lat)) * Math.sin(dLon / 2) ** 2;
  return 2 * EARTH_RADIUS_M * Math.asin(Math.min(1, Math.sqrt(h)));
}

// Initial bearing from a towards b.
function bearing(a, b) {
  const phi1 = rad(a.lat);
  const phi2 = rad(b.lat);
  const dLon = rad(b.lon - a.lon);
  const y = Math.sin(dLon) * Math.cos(phi2);
  const x = Math.cos(phi1) * Math.sin(phi2) - Math.sin(phi1) * Math.cos(phi2) * Math.cos(dLon);
  return (deg(Math.atan2(y, x)) + 360) % 360;
}

// The change of heading from one bearing to another, -180 to 180, positive
// to the right.
function headingChange(from, to) {
  const change = (((to - from) % 360) + 540) % 360 - 180;
  return change === -180 ? 180 : change;
}

// The point a fraction t (0 to 1) of the way from a to b; linear, which is
// exact enough over the few hundred metres between route points.
function interpolate(a, b, t) {
  return { lat: a.lat + (b.lat - a.lat) * t, lon: a.lon + (b.lon - a.lon) * t };
}

module.exports = { distance, bearing, headingChange, interpolate, EARTH_RADIUS_M };
