'use strict';
// The cluster page: renders every status and metadata record the server
// passes on (server-sent events from /events), and sends the buttons'
// commands and queries through the server, showing each answer.
(() => {
  const $ = (id) => document.getElementById(id);
  const SVG = 'http://www.w3.org/2000/svg';
  const STATES = ['IDLE', 'NAVIGATION', 'CRUISE', 'POI', 'ROUTE', 'UNAVAILABLE'];
  let modes = {}; // turn mode codes by name, from the server
  let turnText = {};
  let status = null;
  let metadata = null;

  // --- how the page was opened: ?controls=0 (no buttons), ?units=imperial ---
  const options = new URLSearchParams(location.search);
  const imperial = options.get('units') === 'imperial';
  const kiosk = options.get('controls') === '0';
  const token = document.querySelector('meta[name="navinfo-token"]').content;

  // --- formatting ---
  const METRES_PER_MILE = 1609.344;
  const FEET_PER_METRE = 3.28084;
  function formatDistance(m) {
    if (imperial) {
      if (m >= METRES_PER_MILE / 10) return `${(m / METRES_PER_MILE).toFixed(1)} mi`;
      const feet = m * FEET_PER_METRE;
      return `${feet >= 100 ? Math.round(feet / 50) * 50 : Math.round(feet / 10) * 10} ft`;
    }
    return m >= 1000 ? `${(m / 1000).toFixed(1)} km` : `${m >= 100 ? Math.round(m / 10) * 10 : m} m`;
  }
  // Speeds arrive in km/h.
  const speedIn = (kmh) => (imperial ? Math.round((kmh * 1000) / METRES_PER_MILE) : kmh);
  const DIAL_FULL = imperial ? 100 : 160;
  function formatDuration(s) {
    if (s < 60) return '<1 min';
    const minutes = Math.round(s / 60);
    return minutes < 60 ? `${minutes} min` : `${Math.floor(minutes / 60)} h ${String(minutes % 60).padStart(2, '0')}`;
  }
  const clock = (date) => date.toTimeString().slice(0, 5);

  // --- arrows: a shaft from the bottom, bending by the turn's angle ---
  const ANGLES = { STRAIGHT: 0, NONE: 0, SLIGHT_LEFT: -45, LEFT: -90, SHARP_LEFT: -135, SLIGHT_RIGHT: 45, RIGHT: 90, SHARP_RIGHT: 135 };
  function arrowShapes(angleDeg, scale = 1) {
    const a = (angleDeg * Math.PI) / 180;
    const dx = Math.sin(a);
    const dy = -Math.cos(a);
    const bendY = 58;
    const reach = 28 * scale;
    const end = [50 + dx * reach, bendY + dy * reach];
    const tip = [end[0] + dx * 14, end[1] + dy * 14];
    const side = [dy * 13, -dx * 13];
    return {
      path: `M50 94 L50 ${bendY} L${end[0].toFixed(1)} ${end[1].toFixed(1)}`,
      head: [tip, [end[0] + side[0], end[1] + side[1]], [end[0] - side[0], end[1] - side[1]]]
        .map((p) => p.map((v) => v.toFixed(1)).join(',')).join(' '),
    };
  }
  function drawArrow(svg, modeName) {
    svg.replaceChildren();
    const add = (tag, attrs) => {
      const el = document.createElementNS(SVG, tag);
      for (const [k, v] of Object.entries(attrs)) el.setAttribute(k, v);
      svg.appendChild(el);
    };
    if (modeName === 'ARRIVE') {
      add('path', { d: 'M30 94 L30 12' });
      add('polygon', { class: 'flag', points: '34,12 80,24 34,38' });
      return;
    }
    if (modeName === 'U_TURN') {
      add('path', { d: 'M64 94 L64 40 A17 17 0 0 0 30 40 L30 58' });
      add('polygon', { points: '30,78 17,56 43,56' });
      return;
    }
    const { path, head } = arrowShapes(ANGLES[modeName] ?? 0);
    add('path', { d: path });
    add('polygon', { points: head });
  }

  // Lanes that suit the manoeuvre ahead: L for turns to the left, R to the
  // right, S for straight on; straight lanes when none suits.
  function recommendedLetter(modeName, lanes) {
    const wanted = /LEFT|U_TURN/.test(modeName) ? 'L' : /RIGHT/.test(modeName) ? 'R' : 'S';
    return lanes.includes(wanted) ? wanted : 'S';
  }
  function drawLanes(lanes, modeName) {
    const box = $('lanes');
    box.replaceChildren();
    const best = recommendedLetter(modeName, lanes);
    for (const letter of lanes) {
      const svg = document.createElementNS(SVG, 'svg');
      svg.setAttribute('viewBox', '0 0 100 100');
      svg.setAttribute('class', `lane${letter === best ? ' recommended' : ''}`);
      svg.dataset.lane = letter;
      drawArrow(svg, { L: 'LEFT', R: 'RIGHT' }[letter] || 'STRAIGHT');
      box.appendChild(svg);
    }
  }

  // --- minimap: the route through its junctions, the destination and the car ---
  let frame = null; // projection of the current route
  function project(lat, lon) {
    const { minLat, minLon, scale, offX, offY } = frame;
    return [offX + (lon - minLon) * scale * Math.cos((minLat * Math.PI) / 180), 150 - offY - (lat - minLat) * scale];
  }
  function drawMap() {
    const svg = $('minimap');
    svg.replaceChildren();
    if (!status) return;
    const points = [...status.passPoint, status.destLocation].filter((p) => p.latitude || p.longitude);
    if (points.length < 2) return;
    const lats = points.map((p) => p.latitude);
    const lons = points.map((p) => p.longitude);
    const minLat = Math.min(...lats);
    const minLon = Math.min(...lons);
    const cos = Math.cos((minLat * Math.PI) / 180);
    const spanX = (Math.max(...lons) - minLon) * cos || 1e-6;
    const spanY = Math.max(...lats) - minLat || 1e-6;
    const scale = Math.min(180 / spanX, 130 / spanY);
    frame = { minLat, minLon, scale, offX: (200 - spanX * scale) / 2, offY: (150 - spanY * scale) / 2 };
    const xy = points.map((p) => project(p.latitude, p.longitude));
    const el = (tag, attrs) => {
      const node = document.createElementNS(SVG, tag);
      for (const [k, v] of Object.entries(attrs)) node.setAttribute(k, v);
      svg.appendChild(node);
      return node;
    };
    el('polyline', { class: 'route', points: xy.map((p) => p.map((v) => v.toFixed(1)).join(',')).join(' ') });
    for (const p of xy.slice(1, -1)) el('circle', { class: 'junction', cx: p[0], cy: p[1], r: 2 });
    const goal = xy.at(-1);
    el('circle', { class: 'goal', cx: goal[0], cy: goal[1], r: 5 });
    el('polygon', { id: 'car', class: 'car', points: '0,-7 5,6 0,3 -5,6' });
    placeCar();
  }
  function placeCar() {
    const car = document.getElementById('car');
    const where = metadata && metadata.customData;
    if (!car || !frame || !where || typeof where.latitude !== 'number') return;
    const [x, y] = project(where.latitude, where.longitude);
    car.setAttribute('transform', `translate(${x.toFixed(1)} ${y.toFixed(1)}) rotate(${metadata.naviBearing})`);
  }

  // --- records ---
  function renderStatus() {
    const state = STATES[status.status] || `STATE ${status.status}`;
    const badge = $('nav-state');
    badge.textContent = state;
    badge.dataset.state = state.toLowerCase();
    document.body.dataset.theme = status.theme === 1 ? 'dark' : 'light';
    document.body.classList.toggle('idle', status.status !== 1);
    const themeButton = $('theme-button'); // none in kiosk mode
    if (themeButton) themeButton.textContent = status.theme === 1 ? 'Day' : 'Night';
    $('destination').textContent = status.destLocation.name || '—';
    let custom = {};
    try { custom = JSON.parse(status.customData || '{}'); } catch { /* free text */ }
    $('route-name').textContent = custom.route || '';
    $('map-info').textContent = custom.zoom !== undefined
      ? `zoom ${custom.zoom} · layers: ${(custom.layers || []).join(', ') || 'none'}` : '';
    if (status.status !== 1) $('turn-text').textContent = status.status === 5 ? 'Navigation unavailable' : 'No guidance';
    drawMap();
  }

  function renderMetadata() {
    const m = metadata;
    const modeName = Object.keys(modes).find((k) => modes[k] === m.naviTurnMode) || 'NONE';
    const arrow = $('turn-arrow');
    arrow.dataset.mode = modeName;
    drawArrow(arrow, modeName);
    const distance = $('turn-distance');
    distance.textContent = formatDistance(m.segmentLeftDis);
    distance.dataset.meters = m.segmentLeftDis;
    $('turn-text').textContent = turnText[m.naviTurnMode] || '';
    $('next-road').textContent = m.nextRoadName || '—';
    $('current-road').textContent = m.currentRoadName || '—';
    $('heading').textContent = `heading ${Math.round(m.naviBearing)}°`;
    const speed = $('speed');
    speed.textContent = speedIn(m.currentSpeed);
    speed.dataset.kmh = m.currentSpeed;
    $('limit').textContent = m.naviSpeedLimitValid ? speedIn(m.naviSpeedLimit) : '—';
    $('camera').hidden = !m.cameraSpeedLimitValid;
    $('camera-limit').textContent = speedIn(m.cameraSpeedLimit);
    const over = m.naviSpeedLimitValid && m.currentSpeed > m.naviSpeedLimit;
    document.querySelector('.gauge').classList.toggle('over', over);
    $('dial-value').style.strokeDasharray = `${Math.min(75, (speedIn(m.currentSpeed) / DIAL_FULL) * 75)} 100`;
    drawLanes(m.trafficLane, modeName);
    const total = $('total-left');
    total.textContent = formatDistance(m.totalLeftDis);
    total.dataset.meters = m.totalLeftDis;
    const left = $('time-left');
    left.textContent = formatDuration(m.remainingTime);
    left.dataset.seconds = m.remainingTime;
    $('eta').textContent = clock(new Date(Date.now() + m.remainingTime * 1000));
    placeCar();
  }

  // --- the live stream ---
  const RETRY_MS = 5000;
  function connect() {
    const events = new EventSource('/events');
    events.addEventListener('open', () => $('link').classList.add('live'));
    events.addEventListener('error', () => {
      // A refused stream (503: too many pages) is not retried by the
      // browser, a broken one is.
      if (events.readyState === EventSource.CLOSED) setTimeout(connect, RETRY_MS);
      $('link').classList.remove('live');
      const badge = $('nav-state');
      badge.textContent = 'OFFLINE';
      badge.dataset.state = 'offline';
    });
    events.addEventListener('hello', (event) => {
      const hello = JSON.parse(event.data);
      modes = hello.turnModes;
      turnText = hello.turnText;
      $('bundle').textContent = hello.bundle;
      $('nav-state').textContent = 'WAITING';
      $('nav-state').dataset.state = 'waiting';
    });
    events.addEventListener('status', (event) => {
      status = JSON.parse(event.data).status;
      renderStatus();
    });
    events.addEventListener('metadata', (event) => {
      metadata = JSON.parse(event.data).metadata;
      renderMetadata();
    });
  }

  // --- buttons ---
  async function send(kind, type, params) {
    showAnswer('', `${kind} ${type} …`);
    try {
      const response = await fetch(`/api/${kind}`, {
        method: 'POST',
        headers: { 'content-type': 'application/json', 'x-navinfo-token': token },
        body: JSON.stringify({ type, params }),
      });
      const body = await response.json();
      if (body.ok) {
        const { code, message, data } = body.answer;
        $('answer').dataset.code = code;
        showAnswer(String(code === 0), `${type} → ${code} ${message}${Object.keys(data).length ? `\n${JSON.stringify(data)}` : ''}`);
      } else {
        showAnswer('false', `${type} failed: ${body.error.message}`);
      }
    } catch (error) {
      showAnswer('false', `${type} failed: ${error.message}`);
    }
  }
  function showAnswer(ok, text) {
    const out = $('answer');
    out.dataset.ok = ok;
    out.textContent = text;
    out.title = text; // the whole answer, where the line is cut
  }
  document.querySelector('.buttons').addEventListener('click', (event) => {
    const button = event.target.closest('button');
    if (!button) return;
    const params = button.dataset.params ? JSON.parse(button.dataset.params) : {};
    if (button.dataset.command === 'changeTheme' && status) params.theme = status.theme === 1 ? 0 : 1;
    if (button.dataset.command) send('command', button.dataset.command, params);
    else send('query', button.dataset.query, params);
  });

  if (kiosk) document.querySelector('.controls').remove();
  $('speed-unit').textContent = imperial ? 'mph' : 'km/h';
  document.body.dataset.units = imperial ? 'imperial' : 'metric';
  connect();
})();
