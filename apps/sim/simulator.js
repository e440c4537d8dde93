'use strict';
// The navigation application that the simulator plays, free of time and I/O:
// a car on a route, driven by tick(seconds), with the map state a cluster
// can see and change (navigation on or off, destination, theme, zoom, map
// layers, whether status updates are published). Commands and queries are
// answered with { code, message, data }; the codes are SimCode.
const { buildRoute, positionAt, junctions } = require('./route');
const { guidanceAt, speedAhead } = require('./guidance');
const { targetSpeed, nextSpeed } = require('./speed_model');

// Values of the module's enumerations (MapStatus, ThemeType, NaviType,
// LocationCoordType, RoutePreference) that the simulator uses.
const MapStatus = { IDLE: 0, NAVIGATION: 1 };
const ThemeType = { LIGHT: 0, DARK: 1 };
const DRIVING = 0;
const WGS84 = 1;
const INTELLIGENT_RECOMMENDATION = 0;
const STATUS_NAMES = ['IDLE', 'NAVIGATION', 'CRUISE', 'POI', 'ROUTE', 'UNAVAILABLE'];
const THEME_NAMES = ['LIGHT', 'DARK'];

// The simulator's answer codes.
const SimCode = Object.freeze({ DONE: 0, UNCHANGED: 1, INVALID_PARAMS: 2 });

const LAYERS = ['traffic', 'satellite', 'poi', 'speedCameras'];
const ZOOM = { min: 3, max: 20, initial: 15 };
// Below this the car creeps on to the destination instead of stopping short.
const CREEP_SPEED = 5;
const ARRIVED_WITHIN_M = 0.5;

const answer = (code, message, data = {}) => ({ code, message, data });
const km = (m) => `${(m / 1000).toFixed(1)} km`;
const minutes = (s) => `${Math.max(1, Math.round(s / 60))} min`;

class Simulator {
  // routes: route outlines (route_file.js) by key, among them `home` and
  // `company`; initial: the key of the route driven first; loop: start again
  // at the destination instead of stopping there.
  constructor({ routes, initial = 'home', loop = false }) {
    this.routes = {};
    for (const [key, outline] of Object.entries(routes)) this.routes[key] = buildRoute(outline);
    this.routeKeys = Object.keys(this.routes);
    this.loop = loop;
    if (!this.routes.home || !this.routes.company || !this.routes[initial]) {
      throw new Error('the simulator needs a home route, a company route and the initial route');
    }
    this.routeKey = initial;
    this.distance = 0;
    this.speed = 0;
    this.mapStatus = MapStatus.NAVIGATION;
    this.theme = ThemeType.LIGHT;
    this.zoom = ZOOM.initial;
    this.layers = new Set();
    this.publishingStatus = true;
    // Grows with every change of what status() gives, so that the caller
    // publishes each change once.
    this.statusVersion = 1;
  }

  get route() { return this.routes[this.routeKey]; }
  get navigating() { return this.mapStatus === MapStatus.NAVIGATION; }

  #changed() { this.statusVersion++; }

  // Drives for `seconds` of simulated time; returns the guidance to publish,
  // or null while not navigating.
  tick(seconds) {
    if (!this.navigating) return null;
    const route = this.route;
    const { stretchIndex, stretch } = positionAt(route, this.distance);
    const toManoeuvre = stretch.start + stretch.length - this.distance;
    const target = Math.max(targetSpeed(stretch.speedLimit, toManoeuvre, speedAhead(route, stretchIndex)), CREEP_SPEED);
    const speed = nextSpeed(this.speed, target, seconds);
    this.distance = Math.min(route.length, this.distance + ((this.speed + speed) / 2 / 3.6) * seconds);
    this.speed = speed;
    if (route.length - this.distance > ARRIVED_WITHIN_M) return guidanceAt(route, this.distance, this.speed);
    // Arrived.
    this.speed = 0;
    const arrival = guidanceAt(route, route.length, 0);
    if (this.loop) {
      this.distance = 0;
    } else {
      this.mapStatus = MapStatus.IDLE;
      this.#changed();
    }
    return arrival;
  }

  // The current guidance, or null while not navigating.
  metadata() {
    return this.navigating ? guidanceAt(this.route, this.distance, this.speed) : null;
  }

  status() {
    const route = this.route;
    const { destination } = route;
    // The route's shape for followers: where it starts and each junction,
    // named by the road taken there.
    const points = junctions(route).slice(0, -1).map((point, i) => ({
      name: route.stretches[i].road, coordType: WGS84, longitude: point.lon, latitude: point.lat, altitude: 0,
    }));
    return {
      status: this.mapStatus,
      naviType: DRIVING,
      destLocation: { name: destination.name, coordType: WGS84, longitude: destination.lon, latitude: destination.lat, altitude: 0 },
      passPoint: points,
      routeIndex: this.routeKeys.indexOf(this.routeKey),
      customData: JSON.stringify({ route: route.name, zoom: this.zoom, layers: [...this.layers] }),
      theme: this.theme,
      routePreference: [INTELLIGENT_RECOMMENDATION],
    };
  }

  handleQuery(type) {
    if (type === 'navigationStatus') return answer(SimCode.DONE, this.#describe(), this.#statusData());
    if (type === 'navigationMetadata') {
      const metadata = this.metadata();
      if (metadata === null) return answer(SimCode.UNCHANGED, 'Not navigating: there is no guidance');
      return answer(SimCode.DONE, `${metadata.currentRoadName}, ${metadata.segmentLeftDis} m to ${metadata.nextRoadName}`, metadata);
    }
    return answer(SimCode.INVALID_PARAMS, `Unknown query "${type}"`);
  }

  handleCommand(type, params = {}) {
    switch (type) {
      case 'startNavigation': return this.#start(params.route);
      case 'stopNavigation': return this.#stop();
      case 'goHome': return this.#goTo('home');
      case 'goToCompany': return this.#goTo('company');
      case 'startMapLayer': return this.#layer(params.layer, true);
      case 'stopMapLayer': return this.#layer(params.layer, false);
      case 'zoomInMap': return this.#zoom(1);
      case 'zoomOutMap': return this.#zoom(-1);
      case 'changeTheme': return this.#theme(params.theme);
      case 'startUpdateNavigationStatus': return this.#publishing(true);
      case 'stopUpdateNavigationStatus': return this.#publishing(false);
      default: return answer(SimCode.INVALID_PARAMS, `Unknown command "${type}"`);
    }
  }

  #describe() {
    const route = this.route;
    if (!this.navigating) return `Idle; route "${route.name}" to ${route.destination.name} loaded`;
    const { stretch } = positionAt(route, this.distance);
    return `Navigating to ${route.destination.name} on ${stretch.road}`;
  }

  #statusData() {
    return {
      status: this.mapStatus,
      statusName: STATUS_NAMES[this.mapStatus],
      route: this.route.name,
      destination: this.route.destination.name,
      theme: this.theme,
      themeName: THEME_NAMES[this.theme],
      zoom: this.zoom,
      layers: [...this.layers],
      publishingStatus: this.publishingStatus,
      routes: this.routeKeys,
    };
  }

  #plan() {
    const route = this.route;
    const left = route.length - this.distance;
    const { remainingTime } = guidanceAt(route, this.distance, 0);
    return { route: route.name, destination: route.destination.name, totalLeftDis: Math.round(left), remainingTime };
  }

  #start(routeKey) {
    if (routeKey !== undefined && !this.routeKeys.includes(routeKey)) {
      return answer(SimCode.INVALID_PARAMS, `Unknown route "${routeKey}": one of ${this.routeKeys.join(', ')}`);
    }
    if (this.navigating && (routeKey === undefined || routeKey === this.routeKey)) {
      return answer(SimCode.UNCHANGED, `Already navigating to ${this.route.destination.name}`, this.#plan());
    }
    if (routeKey !== undefined && routeKey !== this.routeKey) {
      this.routeKey = routeKey;
      this.distance = 0;
    } else if (this.route.length - this.distance <= ARRIVED_WITHIN_M) {
      this.distance = 0; // arrived before: drive the route again
    }
    this.mapStatus = MapStatus.NAVIGATION;
    this.#changed();
    const plan = this.#plan();
    return answer(SimCode.DONE, `Navigation started to ${plan.destination}: ${km(plan.totalLeftDis)}, ${minutes(plan.remainingTime)}`, plan);
  }

  #stop() {
    if (!this.navigating) return answer(SimCode.UNCHANGED, 'Navigation is not running');
    const { stretch } = positionAt(this.route, this.distance);
    this.mapStatus = MapStatus.IDLE;
    this.speed = 0;
    this.#changed();
    return answer(SimCode.DONE, `Navigation stopped on ${stretch.road}`, { road: stretch.road });
  }

  #goTo(key) {
    const destination = this.routes[key].destination.name;
    if (this.navigating && this.routeKey === key) {
      return answer(SimCode.UNCHANGED, `Already navigating to ${destination}`, this.#plan());
    }
    this.routeKey = key;
    this.distance = 0;
    this.speed = 0;
    this.mapStatus = MapStatus.NAVIGATION;
    this.#changed();
    const plan = this.#plan();
    return answer(SimCode.DONE, `Re-planned to ${destination}: ${km(plan.totalLeftDis)}, ${minutes(plan.remainingTime)}`, plan);
  }

  #layer(layer, on) {
    if (!LAYERS.includes(layer)) {
      return answer(SimCode.INVALID_PARAMS, `Unknown map layer ${JSON.stringify(layer)}: give { layer } as one of ${LAYERS.join(', ')}`);
    }
    const data = () => ({ layer, layers: [...this.layers] });
    if (this.layers.has(layer) === on) return answer(SimCode.UNCHANGED, `Layer ${layer} is already ${on ? 'shown' : 'hidden'}`, data());
    if (on) this.layers.add(layer); else this.layers.delete(layer);
    this.#changed();
    return answer(SimCode.DONE, `Layer ${layer} ${on ? 'shown' : 'hidden'}`, data());
  }

  #zoom(step) {
    const zoom = Math.min(ZOOM.max, Math.max(ZOOM.min, this.zoom + step));
    if (zoom === this.zoom) {
      return answer(SimCode.UNCHANGED, `Zoom stays at ${zoom}, the ${step > 0 ? 'closest' : 'widest'}`, { zoom });
    }
    this.zoom = zoom;
    this.#changed();
    return answer(SimCode.DONE, `Zoom ${step > 0 ? 'in' : 'out'} to ${zoom}`, { zoom });
  }

  #theme(requested) {
    if (requested !== undefined && requested !== ThemeType.LIGHT && requested !== ThemeType.DARK) {
      return answer(SimCode.INVALID_PARAMS, `Unknown theme ${JSON.stringify(requested)}: 0 (LIGHT) or 1 (DARK), or none to switch`);
    }
    const theme = requested === undefined ? 1 - this.theme : requested;
    const data = { theme, themeName: THEME_NAMES[theme] };
    if (theme === this.theme) return answer(SimCode.UNCHANGED, `Theme is already ${THEME_NAMES[theme]}`, data);
    this.theme = theme;
    this.#changed();
    return answer(SimCode.DONE, `Theme changed to ${THEME_NAMES[theme]}`, data);
  }

  #publishing(on) {
    if (this.publishingStatus === on) {
      return answer(SimCode.UNCHANGED, `Status updates are already ${on ? 'on' : 'off'}`, { publishingStatus: on });
    }
    this.publishingStatus = on;
    if (on) this.#changed(); // the current status goes out at once
    return answer(SimCode.DONE, on ? 'Status updates resumed' : 'Status updates stopped (guidance goes on)', { publishingStatus: on });
  }
}

module.exports = { Simulator, SimCode, LAYERS, ZOOM };
