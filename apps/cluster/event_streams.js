'use strict';
// The open pages' event streams (server-sent events), written with regard
// for back-pressure: once a page's connection stops taking data, the
// records meant for it are conflated (only the latest of each kind waits)
// and sent when it takes data again; a page that has missed more than
// maxMissed records that way is dropped (it reconnects, if it is alive, and
// starts again from the latest records). At most maxPages streams are open
// at a time; more are answered 503. So neither a slow nor a stalled page
// makes the server hold more than a few records for it.
const DEFAULTS = { maxPages: 32, maxMissed: 100, heartbeatMs: 15000 };

const frameOf = (event, data) => `event: ${event}\ndata: ${JSON.stringify(data)}\n\n`;

function createEventStreams(options = {}) {
  const { maxPages, maxMissed, heartbeatMs } = { ...DEFAULTS, ...options };
  const pages = new Set();

  function write(page, frame) {
    if (!page.response.write(frame)) page.blocked = true;
  }

  // Sends what waited for the page, once its connection took its data.
  function drained(page) {
    page.blocked = false;
    page.missed = 0;
    const waiting = [...page.waiting.values()];
    page.waiting.clear();
    for (const frame of waiting) write(page, frame);
  }

  // kind: records of one kind replace each other while the page is blocked
  // (null: heartbeats, which a blocked page does not need).
  function send(page, kind, frame) {
    if (!page.blocked) {
      write(page, frame);
      return;
    }
    page.missed += 1;
    if (page.missed > maxMissed) {
      page.response.destroy();
      return;
    }
    if (kind !== null) page.waiting.set(kind, frame);
  }

  const heartbeat = setInterval(() => {
    for (const page of pages) send(page, null, ': heartbeat\n\n');
  }, heartbeatMs);
  heartbeat.unref();

  return {
    // Opens a stream on response with the frames the page starts with;
    // answers 503 when maxPages are open.
    open(request, response, firstFrames) {
      if (pages.size >= maxPages) {
        response.writeHead(503, { 'content-type': 'text/plain; charset=utf-8', 'retry-after': '10', connection: 'close' });
        response.end(`at most ${maxPages} pages at a time\n`);
        return;
      }
      response.writeHead(200, { 'content-type': 'text/event-stream', 'cache-control': 'no-store' });
      const page = { response, blocked: false, missed: 0, waiting: new Map() };
      pages.add(page);
      response.on('drain', () => drained(page));
      response.on('close', () => pages.delete(page));
      for (const frame of firstFrames) write(page, frame);
    },
    broadcast(kind, data) {
      const frame = frameOf(kind, data);
      for (const page of pages) send(page, kind, frame);
    },
    get size() {
      return pages.size;
    },
    close() {
      clearInterval(heartbeat);
      for (const page of pages) page.response.end();
      pages.clear();
    },
  };
}

module.exports = { createEventStreams, frameOf, EVENT_STREAM_DEFAULTS: DEFAULTS };
