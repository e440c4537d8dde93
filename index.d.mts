// Type declarations of the ES module entry (import ... from 'navigation-info-mgr'):
// the named exports and types of index.d.ts, and the export object as default.
import * as navigationInfoMgr from './index.js';

export * from './index.js';
export default navigationInfoMgr;
