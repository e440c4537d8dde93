'use strict';
// How the navinfo command line shows records, answers and service
// snapshots to a person. Pure functions of their input.
const { TURN_MODE_NAMES } = require('../sim/turn_modes');

const MAP_STATUS = ['IDLE', 'NAVIGATION', 'CRUISE', 'POI', 'ROUTE', 'UNAVAILABLE'];
const NAVI_TYPE = ['DRIVING', 'MOTORCYCLE', 'CYCLING', 'WALKING'];
const THEME = ['LIGHT', 'DARK'];
const ROUTE_PREFERENCE = ['INTELLIGENT_RECOMMENDATION', 'HIGHWAY_FIRST', 'AVOID_HIGHWAY', 'AVOID_CONGESTION',
  'LESS_CHARGE', 'MAIN_ROAD_FIRST', 'TIME_FIRST'];

const named = (table, value) => table[value] ?? String(value);
const time = (date) => date.toISOString().slice(11, 23);
const distance = (m) => (m >= 1000 ? `${(m / 1000).toFixed(1)} km` : `${m} m`);
const duration = (s) => (s >= 3600 ? `${Math.floor(s / 3600)} h ${Math.round((s % 3600) / 60)} min`
  : s >= 60 ? `${Math.round(s / 60)} min` : `${s} s`);
const place = (l) => `${l.name || '(no name)'} (${l.latitude.toFixed(5)}, ${l.longitude.toFixed(5)})`;

function statusLine(status) {
  const parts = [named(MAP_STATUS, status.status)];
  if (status.destLocation.name) parts.push(`to ${status.destLocation.name}`);
  parts.push(`theme ${named(THEME, status.theme)}`);
  if (status.passPoint.length) parts.push(`${status.passPoint.length} pass points`);
  return parts.join(', ');
}

function metadataLine(m) {
  const turn = `${named(TURN_MODE_NAMES, m.naviTurnMode)}(${m.naviTurnMode}) in ${distance(m.segmentLeftDis)}`;
  const limit = m.naviSpeedLimitValid ? `/${m.naviSpeedLimit}` : '';
  const camera = m.cameraSpeedLimitValid ? `, camera ${m.cameraSpeedLimit}` : '';
  return [
    `${turn} onto ${m.nextRoadName || '?'}`,
    `on ${m.currentRoadName || '?'}`,
    `${m.currentSpeed}${limit} km/h${camera}`,
    ...(m.trafficLane ? [`lanes ${m.trafficLane}`] : []),
    `${distance(m.totalLeftDis)}, ${duration(m.remainingTime)} left`,
  ].join(' · ');
}

// One watch line: "12:00:01.123 status   NAVIGATION, to Home, ...".
function recordLine(kind, record, at = new Date()) {
  return `${time(at)} ${kind === 'status' ? 'status  ' : 'guidance'} ${kind === 'status' ? statusLine(record) : metadataLine(record)}`;
}

function statusReport(bundleName, status, updatedAt, now = new Date()) {
  const ago = ((now - updatedAt) / 1000).toFixed(1);
  const lines = [
    `${bundleName}: ${named(MAP_STATUS, status.status)} (published ${time(updatedAt)}, ${ago} s ago)`,
    `  destination   ${place(status.destLocation)}`,
    `  travel        ${named(NAVI_TYPE, status.naviType)}, route ${status.routeIndex}, theme ${named(THEME, status.theme)}`,
    `  preferences   ${status.routePreference.map((p) => named(ROUTE_PREFERENCE, p)).join(', ') || 'none'}`,
    `  pass points   ${status.passPoint.length ? status.passPoint.map((p) => p.name || '?').join(', ') : 'none'}`,
  ];
  if (status.customData) lines.push(`  custom data   ${status.customData}`);
  return lines.join('\n');
}

function answerReport(answer) {
  const data = Object.entries(answer.data).map(([key, value]) => `  ${key}: ${JSON.stringify(value)}`);
  return [`${answer.code} ${answer.message}`, ...data].join('\n');
}

function table(header, rows) {
  const widths = header.map((h, i) => Math.max(h.length, ...rows.map((r) => String(r[i]).length)));
  const line = (cells) => cells.map((c, i) => String(c).padEnd(widths[i])).join('  ').trimEnd();
  return [line(header), ...rows.map(line)].join('\n');
}

// What each client does, from a snapshot.
function roles(snapshot, client) {
  const out = [];
  if (snapshot.servers.some((s) => s.clientId === client.clientId)) out.push('serves queries and commands');
  const followed = new Map();
  for (const f of snapshot.follows.filter((f) => f.clientId === client.clientId)) {
    followed.set(f.bundleName, [...(followed.get(f.bundleName) || []), f.kind]);
  }
  for (const [bundle, kinds] of followed) out.push(`follows ${bundle} (${kinds.join(', ')})`);
  const waiting = snapshot.requests.filter((r) => r.requesterClientId === client.clientId).length;
  if (waiting) out.push(`${waiting} requests waiting`);
  for (const o of snapshot.owners.filter((o) => o.clientId === client.clientId)) {
    out.push(o.waiting ? `waits to own ${o.bundleName}` : `owns ${o.bundleName}`);
  }
  return out.join('; ') || '-';
}

function clientsReport(snapshot) {
  if (snapshot.clients.length === 0) return 'no clients connected';
  return table(['CLIENT', 'PID', 'UID', 'BUNDLE', 'DOING'],
    snapshot.clients.map((c) => [c.clientId, c.pid, c.uid, c.bundleName, roles(snapshot, c)]));
}

// What a cut dump says: which bounds the service applies (docs/service-protocol.md, ServiceSnapshot).
const CUT_NOTE = ' (cut: each list stops at 1,024 entries and the records at 768 KiB; '
  + "read one bundle with `navinfo status <bundle>`)";

function dumpReport(snapshot) {
  const section = (title, lines) => [`${title}:`, ...(lines.length ? lines : ['  (none)'])].join('\n');
  const now = snapshot.takenAt;
  const age = (date) => `${((now - date) / 1000).toFixed(1)} s ago`;
  return [
    `navinfo-service at ${snapshot.takenAt.toISOString()}${snapshot.truncated ? CUT_NOTE : ''}`,
    section('Clients', clientsReport(snapshot).split('\n').map((l) => `  ${l}`)),
    section('Owners', snapshot.owners.map((o) =>
      `  ${o.bundleName}: ${o.waiting ? 'waiting' : 'owned by'} client ${o.clientId}`)),
    section('Serving', snapshot.servers.map((s) => `  ${s.bundleName} by client ${s.clientId}`)),
    section('Following', snapshot.follows.map((f) => `  client ${f.clientId} follows the ${f.kind} of ${f.bundleName}`)),
    section('Requests waiting', snapshot.requests.map((r) =>
      `  #${r.requestId} ${r.kind} ${r.type} to ${r.bundleName} from client ${r.requesterClientId}, ${r.ageMs} ms`)),
    section('Latest status', snapshot.statuses.map((r) => `  ${r.bundleName}: ${statusLine(r.status)} (${age(r.updatedAt)})`)),
    section('Latest guidance', snapshot.metadata.map((r) => `  ${r.bundleName}: ${metadataLine(r.metadata)} (${age(r.updatedAt)})`)),
  ].join('\n');
}

module.exports = { recordLine, statusReport, answerReport, clientsReport, dumpReport };
