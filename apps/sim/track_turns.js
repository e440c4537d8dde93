'use strict';
// Finding the turns along a recorded track or a planned route, whose file
// says nothing about where one road meets the next: the track is cut into
// road stretches where its heading changes, and where the name of the line
// it belongs to changes. Distances and bearings come from cheap-ruler (flat
// approximations exact enough within a city or a region).
const { requireToolLibrary } = require('../common/tool_library');
const { headingChange } = require('./geometry');

// A change of heading of at least this much, measured over WINDOW_M before
// and after a point, is a turn; gentler bends are followed as one road.
const TURN_MIN_DEGREES = 30;
// How far before and after a point its heading change is measured: far enough
// to look past a recorded track's jitter and the few points of a rounded
// corner, near enough that two turns of one block stay apart.
const WINDOW_M = 25;
// Closer than this, consecutive points are one point (a car standing still).
const SAME_POINT_M = 1;

function rulerFor(points) {
  const CheapRuler = requireToolLibrary('cheap-ruler', 'reading a route file').default;
  const meanLat = points.reduce((sum, p) => sum + p.lat, 0) / points.length;
  return new CheapRuler(meanLat, 'meters');
}

const lonLat = (p) => [p.lon, p.lat];

// points: [{ lat, lon, road }] in driving order, `road` naming the line the
// point comes from (undefined where the file names none). Returns the
// stretches [{ road, points, turnAngle }], turnAngle being the change of
// heading at the stretch's end (positive: to the right; none on the last).
function splitAtTurns(points) {
  if (points.length < 2) return [];
  const ruler = rulerFor(points);
  const kept = [points[0]];
  for (const p of points.slice(1)) {
    const last = kept.at(-1);
    if (ruler.distance(lonLat(last), lonLat(p)) >= SAME_POINT_M) kept.push(p);
    else if (p.road !== last.road) kept[kept.length - 1] = { ...last, road: p.road };
  }
  if (kept.length < 2) return [];
  const along = [0];
  for (let i = 1; i < kept.length; i++) along.push(along[i - 1] + ruler.distance(lonLat(kept[i - 1]), lonLat(kept[i])));

  // The change of heading at each inner point, from the point WINDOW_M back to
  // it and from it to the point WINDOW_M ahead (or the ends of the track).
  const change = new Array(kept.length).fill(0);
  let back = 0;
  let ahead = 0;
  for (let i = 1; i + 1 < kept.length; i++) {
    while (back + 1 < i && along[back + 1] <= along[i] - WINDOW_M) back++;
    if (ahead <= i) ahead = i + 1;
    while (ahead + 1 < kept.length && along[ahead] < along[i] + WINDOW_M) ahead++;
    change[i] = headingChange(ruler.bearing(lonLat(kept[back]), lonLat(kept[i])),
      ruler.bearing(lonLat(kept[i]), lonLat(kept[ahead])));
  }

  // Where the track turns: of the points in a row whose change reaches the
  // minimum (one corner measured from each of its points), the sharpest.
  const cuts = new Map(); // point index -> heading change there
  let best = -1;
  for (let i = 1; i + 1 < kept.length; i++) {
    if (Math.abs(change[i]) < TURN_MIN_DEGREES) continue;
    if (best >= 0 && along[i] - along[best] <= WINDOW_M) {
      if (Math.abs(change[i]) > Math.abs(change[best])) best = i;
      continue;
    }
    if (best >= 0) cuts.set(best, change[best]);
    best = i;
  }
  if (best >= 0) cuts.set(best, change[best]);
  // Where one named line ends and the next begins is a junction too; a turn
  // found next to it is that junction's turn.
  // (A point that two lines share was kept with the second line's name.)
  for (let junction = 1; junction + 1 < kept.length; junction++) {
    if (kept[junction].road === kept[junction - 1].road) continue;
    let angle = change[junction];
    for (const [at, turn] of cuts) {
      if (Math.abs(along[at] - along[junction]) <= WINDOW_M) {
        angle = turn;
        cuts.delete(at);
      }
    }
    cuts.set(junction, angle);
  }

  const stretches = [];
  let start = 0;
  for (const at of [...cuts.keys()].sort((a, b) => a - b)) {
    // A stretch is named after the line it runs on: that of the point after its start.
    stretches.push({ road: kept[start + 1].road, points: kept.slice(start, at + 1), turnAngle: cuts.get(at) });
    start = at;
  }
  stretches.push({ road: kept[start + 1].road, points: kept.slice(start) });
  return stretches.map(({ road, points: pts, turnAngle }) => ({
    road, points: pts.map(({ lat, lon }) => ({ lat, lon })), ...(turnAngle === undefined ? {} : { turnAngle }),
  }));
}

module.exports = { splitAtTurns, TURN_MIN_DEGREES, WINDOW_M };
