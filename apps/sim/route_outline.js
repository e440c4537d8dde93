'use strict';
// What every route file reader shares: errors that name the file and the
// place, checked positions, and road stretches with their defaults.
const DEFAULT_SPEED_LIMIT = 50;

function fail(file, where, problem) {
  throw new Error(`route file ${file}: ${where}: ${problem}`);
}

function checkPoint(file, where, lat, lon) {
  if (!Number.isFinite(lat) || !Number.isFinite(lon) || Math.abs(lat) > 90 || Math.abs(lon) > 180) {
    fail(file, where, `not a position: latitude ${lat}, longitude ${lon}`);
  }
  return { lat, lon };
}

// A road stretch of the outline (see route.js); turnAngle, where the file's
// reader measured the turn at its end, overrides the one of the junction.
function stretchOf(file, where, { road, speedLimit, lanes, camera, turnAngle }, points) {
  if (points.length < 2) fail(file, where, 'a stretch needs at least two points');
  const limit = speedLimit === undefined || speedLimit === '' ? DEFAULT_SPEED_LIMIT : Number(speedLimit);
  if (!(limit > 0 && limit < 1000)) fail(file, where, `speedLimit must be a positive number of km/h, not ${speedLimit}`);
  const cameraLimit = camera === undefined || camera === '' ? 0 : Number(camera);
  if (!(cameraLimit >= 0 && cameraLimit < 1000)) fail(file, where, `camera must be a number of km/h, not ${camera}`);
  const laneText = lanes === undefined ? '' : String(lanes);
  if (!/^[LSR]*$/.test(laneText)) fail(file, where, `lanes must be letters L, S and R, not "${laneText}"`);
  return { road: road ? String(road) : 'Unnamed road', speedLimit: Math.round(limit), lanes: laneText,
    camera: Math.round(cameraLimit), points, ...(turnAngle === undefined ? {} : { turnAngle }) };
}

module.exports = { fail, checkPoint, stretchOf, DEFAULT_SPEED_LIMIT };
