// Type declarations of navigation-info-mgr/client.
/// <reference types="node" />
import { EventEmitter } from 'node:events';

// --- Enumerations (the same objects as the module's) ---

export declare const LocationCoordType: { readonly GCJ02: 0; readonly WGS84: 1 };
export declare const MapStatus: {
  readonly IDLE: 0; readonly NAVIGATION: 1; readonly CRUISE: 2; readonly POI: 3; readonly ROUTE: 4;
  readonly UNAVAILABLE: 5;
};
export declare const NaviType: { readonly DRIVING: 0; readonly MOTORCYCLE: 1; readonly CYCLING: 2; readonly WALKING: 3 };
export declare const ThemeType: { readonly LIGHT: 0; readonly DARK: 1 };
export declare const RoutePreference: {
  readonly INTELLIGENT_RECOMMENDATION: 0; readonly HIGHWAY_FIRST: 1; readonly AVOID_HIGHWAY: 2;
  readonly AVOID_CONGESTION: 3; readonly LESS_CHARGE: 4; readonly MAIN_ROAD_FIRST: 5; readonly TIME_FIRST: 6;
};
export declare const QueryType: { readonly NAVIGATION_STATUS: 'navigationStatus'; readonly NAVIGATION_METADATA: 'navigationMetadata' };
export declare const CommandType: {
  readonly START_NAVIGATION: 'startNavigation'; readonly STOP_NAVIGATION: 'stopNavigation';
  readonly GO_HOME: 'goHome'; readonly GO_TO_COMPANY: 'goToCompany';
  readonly START_MAP_LAYER: 'startMapLayer'; readonly STOP_MAP_LAYER: 'stopMapLayer';
  readonly ZOOM_IN_MAP: 'zoomInMap'; readonly ZOOM_OUT_MAP: 'zoomOutMap'; readonly CHANGE_THEME: 'changeTheme';
  readonly START_UPDATE_NAVIGATION_STATUS: 'startUpdateNavigationStatus';
  readonly STOP_UPDATE_NAVIGATION_STATUS: 'stopUpdateNavigationStatus';
};
/** The answer codes the serving side gives when a handler cannot answer. */
export declare const AnswerCode: { readonly HANDLER_FAILED: 1100; readonly NOT_SUPPORTED: 1101 };

type ValueOf<T> = T[keyof T];
export type LocationCoordTypeValue = ValueOf<typeof LocationCoordType>;
export type MapStatusValue = ValueOf<typeof MapStatus>;
export type NaviTypeValue = ValueOf<typeof NaviType>;
export type ThemeTypeValue = ValueOf<typeof ThemeType>;
export type RoutePreferenceValue = ValueOf<typeof RoutePreference>;
export type QueryTypeName = ValueOf<typeof QueryType>;
export type CommandTypeName = ValueOf<typeof CommandType>;

// --- Records ---

/** Free-form data, as the service's parameter maps keep it. */
export type WantValue = boolean | string | number | bigint | WantValue[] | WantObject;
export interface WantObject { [key: string]: WantValue }

export interface Location {
  name: string; coordType: LocationCoordTypeValue; longitude: number; latitude: number; altitude: number;
}
export interface NavigationStatus {
  status: MapStatusValue; naviType: NaviTypeValue; destLocation: Location; passPoint: Location[];
  routeIndex: number; customData: string; theme: ThemeTypeValue; routePreference: RoutePreferenceValue[];
}
export interface NavigationMetadata {
  naviTurnMode: number; segmentLeftDis: number; currentRoadName: string; nextRoadName: string;
  intersectionView: string; viewWidth: number; viewHeight: number; trafficLane: string;
  cameraSpeedLimitValid: boolean; cameraSpeedLimit: number; naviSpeedLimitValid: boolean; naviSpeedLimit: number;
  currentSpeed: number; naviBearing: number; totalLeftDis: number; remainingTime: number; customData: WantObject;
}
/** What publishStatus takes: every field optional; texts at most 255 bytes of UTF-8. */
export type NavigationStatusInput = Partial<Omit<NavigationStatus, 'destLocation' | 'passPoint'>> & {
  destLocation?: Partial<Location>; passPoint?: Partial<Location>[];
};
/** What publishMetadata takes: every field optional; numbers unsigned 32-bit (naviTurnMode 16-bit). */
export type NavigationMetadataInput = Partial<NavigationMetadata>;

export interface StatusSnapshot { bundleName: string; status: NavigationStatus; updatedAt: Date }

/** A request the service accepted for an observed bundle, and its completion under the same id. */
export interface ObservedRequest {
  requestId: number; requester: string; kind: 'query' | 'command'; type: string; params: WantObject;
}
export interface ObservedAnswer {
  requestId: number; kind: 'query' | 'command'; type: string; code: number; message: string; data: WantObject;
}
export interface RequestObservation extends EventEmitter {
  readonly bundleName: string;
  readonly closed: boolean;
  on(event: 'request', listener: (request: ObservedRequest) => void): this;
  on(event: 'answer', listener: (answer: ObservedAnswer) => void): this;
  on(event: 'close', listener: () => void): this;
  close(): void;
}

/** What the service holds at one moment (inspectService). Ids are the service's client ids. */
export interface ServiceSnapshot {
  takenAt: Date;
  /** Some entries were left out: a list over 1024 entries, records beyond the 768 KiB one snapshot copies, or the records when they did not fit one reply. */
  truncated: boolean;
  clients: { clientId: number; bundleName: string; pid: number; uid: number }[];
  follows: { clientId: number; bundleName: string; kind: 'status' | 'metadata' }[];
  servers: { bundleName: string; clientId: number }[];
  requests: { requestId: number; requesterClientId: number; bundleName: string; kind: 'query' | 'command';
    type: string; ageMs: number }[];
  statuses: { bundleName: string; status: NavigationStatus; updatedAt: Date }[];
  metadata: { bundleName: string; metadata: NavigationMetadata; updatedAt: Date }[];
  /** Each bundle's owner (the connection that publishes and serves for it) and, waiting: true, the ones refused while it is live. */
  owners: { bundleName: string; clientId: number; waiting: boolean }[];
}

// --- Requests and answers ---

export interface Answer { code: number; message: string; data: WantObject }
/** What a handler returns (or resolves with): missing fields are 0, '' and {}. */
export type AnswerInput = { code?: number; message?: string; data?: WantObject } | undefined | void;
export interface QueryRequest<T extends QueryTypeName = QueryTypeName> { kind: 'query'; type: T; params: WantObject }
export interface CommandRequest<T extends CommandTypeName = CommandTypeName> { kind: 'command'; type: T; params: WantObject }
export type NavigationRequest = QueryRequest | CommandRequest;

export type Handler<R> = (request: R) => AnswerInput | PromiseLike<AnswerInput>;
export interface Handlers {
  queries?: Handler<QueryRequest> | { [T in QueryTypeName]?: Handler<QueryRequest<T>> };
  commands?: Handler<CommandRequest> | { [T in CommandTypeName]?: Handler<CommandRequest<T>> };
}

export interface RequestOptions {
  /** Milliseconds to wait for the answer; then the promise rejects with ERR_NAVINFO_TIMEOUT. */
  timeout?: number;
  signal?: AbortSignal;
}
export interface SignalOption { signal?: AbortSignal }
export interface FollowOptions extends SignalOption {
  /** Async iteration gives the newest record only (true, the default) or every record in order (false). */
  latest?: boolean;
}
export interface ReadyOptions {
  /** Milliseconds to wait; then the promise rejects with ERR_NAVINFO_TIMEOUT. */
  timeout?: number;
  signal?: AbortSignal;
}
export interface PublishOptions {
  /** false: the module's lenient reading (unknown fields skipped, long texts cut, no range checks). */
  strict?: boolean;
}
export interface ClientOptions {
  /** The default of publishing's strict option (true). */
  strict?: boolean;
  /** The daemon's socket instead of NAVINFO_SERVICE_SOCKET; '' for the service embedded in the process. */
  socket?: string;
  /** The bundle name this process acts as, instead of NAVINFO_BUNDLE_NAME. */
  bundleName?: string;
  /** The token presented to the daemon, instead of NAVINFO_BUNDLE_TOKEN. */
  token?: string;
}
/** Which service the process uses. */
export interface ServiceEndpoint { socket: string; bundleName: string; embedded: boolean }

// --- Errors ---

export type NavInfoErrorCode =
  | 'ERR_NAVINFO_INVALID_ARGUMENT' | 'ERR_NAVINFO_SERVICE_UNAVAILABLE' | 'ERR_NAVINFO_NOT_FOUND'
  | 'ERR_NAVINFO_TIMEOUT' | 'ERR_NAVINFO_NO_PERMISSION' | 'ERR_NAVINFO_TOO_MANY_REQUESTS'
  | 'ERR_NAVINFO_NOT_SYSTEM_APP' | 'ERR_NAVINFO_HANDLER_FAILED' | 'ERR_NAVINFO_NOT_SUPPORTED'
  | 'ERR_NAVINFO_FAILED' | 'ERR_NAVINFO_CLIENT_CLOSED' | 'ERR_NAVINFO_ALREADY_SERVING'
  | 'ERR_NAVINFO_OTHER_THREAD' | 'ERR_NAVINFO_ALREADY_CONNECTED';

export declare class NavInfoError extends Error {
  readonly name: 'NavInfoError';
  readonly code: NavInfoErrorCode;
  /** The service's numeric result (1001...1015) or answer code (1100, 1101), where there is one. */
  readonly result?: number;
}

// --- Subscriptions and the server ---

interface Handle extends Disposable {
  readonly closed: boolean;
  close(): void;
  /** Lets the process exit while this is open. */
  unref(): this;
  ref(): this;
  hasRef(): boolean;
}

export declare class Subscription<K extends 'status' | 'metadata', T> extends EventEmitter implements Handle, AsyncIterable<T> {
  private constructor();
  readonly kind: K;
  readonly bundleName: string;
  readonly closed: boolean;
  /** Whether the daemon refuses this subscription now (it is tried again). */
  readonly refused: boolean;
  /** When the latest record was stored by the service (or arrived); null before the first. */
  readonly lastUpdate: Date | null;
  /** Milliseconds since then; null before the first record. */
  readonly age: number | null;
  /** Milliseconds since a record this subscription gave was stored (or arrived); null for any other value. */
  ageOf(record: T): number | null;
  close(): void;
  unref(): this;
  ref(): this;
  hasRef(): boolean;
  [Symbol.dispose](): void;
  /** The newest record (or with { latest: false } every record in order); ends when the subscription closes. */
  [Symbol.asyncIterator](): AsyncIterator<T>;
  on(event: K, listener: (this: this, record: T, bundleName: string) => void): this;
  on(event: 'unavailable', listener: (this: this, status: NavigationStatus, bundleName: string) => void): this;
  on(event: 'error', listener: (this: this, error: NavInfoError) => void): this;
  on(event: 'resume', listener: (this: this, bundleName: string) => void): this;
  on(event: 'close', listener: (this: this) => void): this;
  once(event: K, listener: (this: this, record: T, bundleName: string) => void): this;
  once(event: 'unavailable', listener: (this: this, status: NavigationStatus, bundleName: string) => void): this;
  once(event: 'error', listener: (this: this, error: NavInfoError) => void): this;
  once(event: 'resume', listener: (this: this, bundleName: string) => void): this;
  once(event: 'close', listener: (this: this) => void): this;
  off(event: K | 'unavailable' | 'error' | 'resume' | 'close', listener: (...args: any[]) => void): this;
}
export type StatusSubscription = Subscription<'status', NavigationStatus>;
export type MetadataSubscription = Subscription<'metadata', NavigationMetadata>;

export declare class NavigationServer extends EventEmitter implements Handle {
  private constructor();
  readonly closed: boolean;
  /** Whether the daemon refuses this server now (it is tried again). */
  readonly refused: boolean;
  /** Stops serving; requests still waiting are answered "Not found" by the service. */
  close(): void;
  unref(): this;
  ref(): this;
  hasRef(): boolean;
  [Symbol.dispose](): void;
  on(event: 'handlerError', listener: (this: this, error: unknown, request: NavigationRequest) => void): this;
  on(event: 'error', listener: (this: this, error: NavInfoError) => void): this;
  on(event: 'resume' | 'close', listener: (this: this) => void): this;
  once(event: 'handlerError', listener: (this: this, error: unknown, request: NavigationRequest) => void): this;
  once(event: 'error', listener: (this: this, error: NavInfoError) => void): this;
  once(event: 'resume' | 'close', listener: (this: this) => void): this;
  off(event: 'handlerError' | 'error' | 'resume' | 'close', listener: (...args: any[]) => void): this;
}

// --- The client ---

export declare class NavigationClient extends EventEmitter implements Disposable {
  constructor(options?: ClientOptions);
  readonly closed: boolean;
  /** Whether the service is reachable now: always with the embedded service; with the daemon, while connected. */
  readonly connected: boolean;
  /** Which service this process uses. */
  readonly endpoint: ServiceEndpoint;
  /** Resolves once the service is reachable (at once when it is). */
  ready(options?: ReadyOptions): Promise<void>;
  on(event: 'connect' | 'reconnect', listener: (this: this) => void): this;
  on(event: 'disconnect', listener: (this: this, reason: NavInfoError) => void): this;
  once(event: 'connect' | 'reconnect', listener: (this: this) => void): this;
  once(event: 'disconnect', listener: (this: this, reason: NavInfoError) => void): this;
  off(event: 'connect' | 'reconnect' | 'disconnect', listener: (...args: any[]) => void): this;

  /** Status records of the bundle: its current one first, if it has published one. */
  followStatus(bundleName: string, options?: FollowOptions): StatusSubscription;
  followMetadata(bundleName: string, options?: FollowOptions): MetadataSubscription;
  /** The bundle's latest status, or null when it never published one. */
  getStatus(bundleName: string): StatusSnapshot | null;
  /** What the service holds: connections, registrations, latest records, requests waiting (system applications). */
  inspectService(): ServiceSnapshot;
  /** The queries and commands other applications send to the bundle, and their answers (system applications). */
  observeRequests(bundleName: string, options?: SignalOption): RequestObservation;
  query(bundleName: string, type: QueryTypeName, params?: WantObject, options?: RequestOptions): Promise<Answer>;
  command(bundleName: string, type: CommandTypeName, params?: WantObject, options?: RequestOptions): Promise<Answer>;

  publishStatus(status: NavigationStatusInput, options?: PublishOptions): void;
  publishMetadata(metadata: NavigationMetadataInput, options?: PublishOptions): void;
  serve(handlers: Handlers | ((this: NavigationServer, request: NavigationRequest) => AnswerInput | PromiseLike<AnswerInput>),
    options?: SignalOption): NavigationServer;

  /** Closes the client's subscriptions and server; its waiting requests reject with ERR_NAVINFO_CLIENT_CLOSED. */
  close(): void;
  [Symbol.dispose](): void;
}

export declare function createClient(options?: ClientOptions): NavigationClient;
