// Type declarations of the module "carService.navigationInfoMgr"
// (require('navigation-info-mgr')). The reference is docs/api.md.

// ---------------------------------------------------------------------------
// Enumerations. Each read of an enumeration property of the module makes a
// new plain object with these members; the type of the same name is the
// union of the member values.

/** Coordinate system of a `Location` (`coordType`). */
export declare const LocationCoordType: {
  /** GCJ-02, the coordinate system of maps in mainland China. */
  readonly GCJ02: 0;
  /** WGS-84, the GPS coordinate system. */
  readonly WGS84: 1;
};
export type LocationCoordType = (typeof LocationCoordType)[keyof typeof LocationCoordType];

/** State of the navigation application (`NavigationStatus.status`). */
export declare const MapStatus: {
  readonly IDLE: 0;
  readonly NAVIGATION: 1;
  readonly CRUISE: 2;
  readonly POI: 3;
  readonly ROUTE: 4;
  readonly UNAVAILABLE: 5;
};
export type MapStatus = (typeof MapStatus)[keyof typeof MapStatus];

/** Means of travel (`NavigationStatus.naviType`). */
export declare const NaviType: {
  readonly DRIVING: 0;
  readonly MOTORCYCLE: 1;
  readonly CYCLING: 2;
  readonly WALKING: 3;
};
export type NaviType = (typeof NaviType)[keyof typeof NaviType];

/** Display theme (`NavigationStatus.theme`). */
export declare const ThemeType: {
  readonly LIGHT: 0;
  readonly DARK: 1;
};
export type ThemeType = (typeof ThemeType)[keyof typeof ThemeType];

/** Route-planning preference (elements of `NavigationStatus.routePreference`). */
export declare const RoutePreference: {
  readonly INTELLIGENT_RECOMMENDATION: 0;
  readonly HIGHWAY_FIRST: 1;
  readonly AVOID_HIGHWAY: 2;
  readonly AVOID_CONGESTION: 3;
  readonly LESS_CHARGE: 4;
  readonly MAIN_ROAD_FIRST: 5;
  readonly TIME_FIRST: 6;
};
export type RoutePreference = (typeof RoutePreference)[keyof typeof RoutePreference];

/** Kinds of query, by name (`queryNavigationInfo`, `onQueryNavigationInfo`). */
export declare const QueryType: {
  readonly NAVIGATION_STATUS: 'navigationStatus';
  readonly NAVIGATION_METADATA: 'navigationMetadata';
};
export type QueryType = (typeof QueryType)[keyof typeof QueryType];

/** Kinds of command, by name (`sendNavigationCmd`, `onReceiveNavigationCmd`). */
export declare const CommandType: {
  readonly START_NAVIGATION: 'startNavigation';
  readonly STOP_NAVIGATION: 'stopNavigation';
  readonly GO_HOME: 'goHome';
  readonly GO_TO_COMPANY: 'goToCompany';
  readonly START_MAP_LAYER: 'startMapLayer';
  readonly STOP_MAP_LAYER: 'stopMapLayer';
  readonly ZOOM_IN_MAP: 'zoomInMap';
  readonly ZOOM_OUT_MAP: 'zoomOutMap';
  readonly CHANGE_THEME: 'changeTheme';
  readonly START_UPDATE_NAVIGATION_STATUS: 'startUpdateNavigationStatus';
  readonly STOP_UPDATE_NAVIGATION_STATUS: 'stopUpdateNavigationStatus';
};
export type CommandType = (typeof CommandType)[keyof typeof CommandType];

// ---------------------------------------------------------------------------
// Free-form parameters (want parameters): docs/want-params.md.

/** A value as the module hands it to JavaScript. */
export type WantParamsValue = boolean | number | string | WantParamsValue[] | WantParams;
/** Free-form parameters as the module hands them to JavaScript. */
export interface WantParams {
  [key: string]: WantParamsValue;
}
/**
 * Free-form parameters given to the module: a plain object (not an array).
 * Its own enumerable properties are read; `null`, `undefined`, functions and
 * symbols are skipped.
 */
export type WantParamsInput = { readonly [key: string]: unknown };

// ---------------------------------------------------------------------------
// Records. Read from JavaScript, every property is optional (the `...Input`
// forms) and unknown names are skipped; handed to JavaScript, every property
// is present.

/** One geographic point. */
export interface Location {
  /** Name of the place (at most 255 bytes of UTF-8 are read). */
  name: string;
  coordType: LocationCoordType;
  /** Degrees, east positive. */
  longitude: number;
  /** Degrees, north positive. */
  latitude: number;
  /** Metres. */
  altitude: number;
}

/** The navigation application's state and route. */
export interface NavigationStatus {
  status: MapStatus;
  naviType: NaviType;
  destLocation: Location;
  /** Points the route passes through, in order (at most 1024). */
  passPoint: Location[];
  /** Index of the route in use among the routes offered. */
  routeIndex: number;
  /** Free-form text of the navigation application (at most 255 bytes are read). */
  customData: string;
  theme: ThemeType;
  /** In order of priority (at most 256). */
  routePreference: RoutePreference[];
}

export interface NavigationStatusInput {
  status?: MapStatus;
  naviType?: NaviType;
  destLocation?: Partial<Location>;
  passPoint?: readonly Partial<Location>[];
  routeIndex?: number;
  customData?: string;
  theme?: ThemeType;
  routePreference?: readonly RoutePreference[];
}

/** Live guidance of a running navigation. */
export interface NavigationMetadata {
  /** Turn mode of the next manoeuvre, 0 to 65535 (only the low 16 bits are stored). */
  naviTurnMode: number;
  /** Metres left on the current road segment, 0 to 4294967295. */
  segmentLeftDis: number;
  /** At most 255 bytes of UTF-8 are read. */
  currentRoadName: string;
  /** At most 255 bytes of UTF-8 are read. */
  nextRoadName: string;
  /** Intersection picture as text, whole (at most 65535 bytes). */
  intersectionView: string;
  /** Pixels. */
  viewWidth: number;
  /** Pixels. */
  viewHeight: number;
  /** Lane information as text, whole (at most 65535 bytes). */
  trafficLane: string;
  /** Whether `cameraSpeedLimit` holds a value. */
  cameraSpeedLimitValid: boolean;
  /** km/h. */
  cameraSpeedLimit: number;
  /** Whether `naviSpeedLimit` holds a value. */
  naviSpeedLimitValid: boolean;
  /** km/h. */
  naviSpeedLimit: number;
  /** km/h. */
  currentSpeed: number;
  /** Degrees clockwise from north, 0 to 360. */
  naviBearing: number;
  /** Metres left to the destination. */
  totalLeftDis: number;
  /** Seconds left to the destination. */
  remainingTime: number;
  customData: WantParams;
}

export interface NavigationMetadataInput {
  naviTurnMode?: number;
  segmentLeftDis?: number;
  currentRoadName?: string;
  nextRoadName?: string;
  intersectionView?: string;
  viewWidth?: number;
  viewHeight?: number;
  trafficLane?: string;
  cameraSpeedLimitValid?: boolean;
  cameraSpeedLimit?: number;
  naviSpeedLimitValid?: boolean;
  naviSpeedLimit?: number;
  currentSpeed?: number;
  naviBearing?: number;
  totalLeftDis?: number;
  remainingTime?: number;
  customData?: WantParamsInput;
}

/** The answer to a query or command. */
export interface ResultData {
  /** The navigation application's code, or a result of the service (`ServiceResultCode`). */
  code: number;
  message: string;
  data: WantParams;
}

/** What a navigation application answers; every property is optional. */
export interface ResultDataInput {
  code?: number;
  /** At most 255 bytes of UTF-8 are read. */
  message?: string;
  data?: WantParamsInput;
}

// ---------------------------------------------------------------------------
// Results and errors.

/**
 * Results of the navigation information service that reach JavaScript: 1005
 * and 1015 as the `code` of a thrown `NavigationInfoError`; 1001 to 1006 as
 * the `code` of the `ResultData` that settles a query or command the service
 * did not pass on or that no answer reached.
 */
export type ServiceResultCode =
  | 1001 // Invalid argument
  | 1002 // Service unavailable
  | 1003 // Not found
  | 1004 // Timed out
  | 1005 // No Permission
  | 1006 // Too many requests
  | 1015; // Not System App

/**
 * Thrown when the service refuses a call: `code` is the decimal text of the
 * result. Errors about the arguments (a missing argument, a value of the
 * wrong type) are plain `Error`s without a `code`.
 */
export interface NavigationInfoError extends Error {
  readonly code: '1005' | '1015';
  readonly message: 'No Permission' | 'Not System App';
}

// ---------------------------------------------------------------------------
// Listener objects. Their functions are read once, at registration, and
// called on the JavaScript thread that registered them with `this` undefined.

export interface NavigationStatusListener {
  onStatusChanged(this: void, bundleName: string, status: NavigationStatus): void;
}

export interface NavigationMetadataListener {
  onMetadataChanged(this: void, bundleName: string, metadata: NavigationMetadata): void;
}

/**
 * The navigation application's answers to queries and commands: each function
 * returns a promise (or another thenable) that fulfils with the answer. A
 * rejected promise, a thrown error or a value without `then` sends no answer:
 * the requester then gets 1004 (Timed out).
 */
export interface SystemNavigationListener {
  onQueryNavigationInfo(this: void, type: QueryType, params: WantParams): PromiseLike<ResultDataInput>;
  onReceiveNavigationCmd(this: void, type: CommandType, params: WantParams): PromiseLike<ResultDataInput>;
}

// ---------------------------------------------------------------------------
// Controllers. Every method may throw a `NavigationInfoError` (1005, 1015).

/** The navigation (map) application's side. One object per JavaScript thread. */
export declare class NavigationController {
  /** Publishes the navigation status (1005 without the navigation permission). */
  updateNavigationStatus(status: NavigationStatusInput): void;
  /** Publishes the live guidance (1005 without the navigation permission). */
  updateNavigationMetadata(metadata: NavigationMetadataInput): void;
  /** Registers the one listener that answers queries and commands; a later one replaces it. */
  registerSystemNavigationListener(listener: SystemNavigationListener): void;
  unregisterSystemNavigationListener(): void;
}

/** A system application's side (cluster, HUD). One object per JavaScript thread. */
export declare class SystemNavigationController {
  /** The status last published by that navigation application (all zeros and empty when none). */
  getNavigationStatus(bundleName: string): NavigationStatus;
  registerNavigationStatusListener(listener: NavigationStatusListener, bundleName: string): void;
  unregisterNavigationStatusListener(bundleName: string): void;
  registerNavigationMetadataListener(listener: NavigationMetadataListener, bundleName: string): void;
  unregisterNavigationMetadataListener(bundleName: string): void;
  /** Resolves with the navigation application's answer, or with the service's result; never rejects. */
  queryNavigationInfo(bundleName: string, type: QueryType, params: WantParamsInput): Promise<ResultData>;
  /** Resolves with the navigation application's answer, or with the service's result; never rejects. */
  sendNavigationCmd(bundleName: string, type: CommandType, params: WantParamsInput): Promise<ResultData>;
}

/** The calling thread's navigation controller (the same object on every call). */
export declare function getNavigationController(): NavigationController;

/** The calling thread's system navigation controller (the same object on every call). */
export declare function getSystemNavigationController(): SystemNavigationController;
