'use strict';
// Recordings as MCAP files (@mcap/core): one JSON channel per bundle and kind
// of record (schemas.js), each message logged at the time it was received
// and published at the time the service stored it where the recorder can
// learn that (else the receive time, as MCAP asks). Chunks are small and
// written at once, so that a recorder killed mid-way leaves a file that
// reads up to its last whole chunk.
const fs = require('node:fs');
const { requireToolLibrary } = require('../common/tool_library');
const { KINDS, topicOf } = require('./schemas');

// About 65 guidance records (some 500 bytes each with their framing), six
// seconds of a drive at 10 records a second: what a recorder killed without
// warning loses at most.
const CHUNK_BYTES = 32 * 1024;
const LIBRARY = 'navigation-info-mgr navinfo record';

const mcap = () => requireToolLibrary('@mcap/core', 'reading or writing a recording');

// 64-bit integers of free-form data are written as decimal texts (JSON has
// no 64-bit integers); a replay publishes them as texts.
const toJson = (record) => JSON.stringify(record, (_, value) => (typeof value === 'bigint' ? value.toString() : value));

// The file as @mcap/core's IWritable: every write goes to the file at once.
function fileWritable(fd) {
  let position = 0n;
  return {
    async write(buffer) {
      let done = 0;
      while (done < buffer.byteLength) done += fs.writeSync(fd, buffer, done, buffer.byteLength - done);
      position += BigInt(buffer.byteLength);
    },
    position: () => position,
  };
}

// A new recording at file (replaced if there). add() and close() may be
// called without waiting: writes are queued in order.
async function createRecording(file) {
  const { McapWriter } = mcap();
  const fd = fs.openSync(file, 'w');
  const writer = new McapWriter({ writable: fileWritable(fd), chunkSize: CHUNK_BYTES });
  let queue = writer.start({ profile: '', library: LIBRARY });
  const channels = new Map(); // topic -> { id, sequence }
  const schemaIds = {};
  const encoder = new TextEncoder();
  let messages = 0;
  const inOrder = (step) => { queue = queue.then(step); return queue; };

  async function channelFor(bundle, kind) {
    const topic = topicOf(bundle, kind);
    if (!channels.has(topic)) {
      const { schema } = KINDS[kind];
      if (schemaIds[kind] === undefined) {
        schemaIds[kind] = await writer.registerSchema({
          name: schema.title, encoding: 'jsonschema', data: encoder.encode(JSON.stringify(schema)),
        });
      }
      const id = await writer.registerChannel({
        topic, schemaId: schemaIds[kind], messageEncoding: 'json', metadata: new Map([['bundle', bundle], ['kind', kind]]),
      });
      channels.set(topic, { id, sequence: 0 });
    }
    return channels.get(topic);
  }

  return {
    get messages() { return messages; },
    // kind: 'status' or 'guidance'; times in nanoseconds since the epoch (BigInt).
    add(bundle, kind, record, logTime, publishTime = logTime) {
      messages++;
      return inOrder(async () => {
        const channel = await channelFor(bundle, kind);
        await writer.addMessage({
          channelId: channel.id, sequence: channel.sequence++, logTime, publishTime, data: encoder.encode(toJson(record)),
        });
      });
    },
    close() {
      return inOrder(async () => {
        await writer.end();
        fs.closeSync(fd);
      });
    },
  };
}

// A recording's messages in the order they were written, each as
// { bundle, kind, topic, logTime, publishTime, sequence, record }; `complete`
// is false for a file that was cut off (read up to its last whole chunk).
function readRecording(file) {
  const { McapStreamReader, hasMcapPrefix } = mcap();
  let bytes;
  try {
    bytes = fs.readFileSync(file);
  } catch (error) {
    throw new Error(`recording ${file}: ${error.code === 'ENOENT' ? 'not found' : error.message}`);
  }
  if (!hasMcapPrefix(new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength))) {
    throw new Error(`recording ${file}: not an MCAP file`);
  }
  const reader = new McapStreamReader();
  reader.append(bytes);
  const channels = new Map();
  const messages = [];
  const decoder = new TextDecoder();
  try {
    for (let record; (record = reader.nextRecord());) {
      if (record.type === 'Channel') {
        const kind = record.metadata.get('kind');
        const bundle = record.metadata.get('bundle');
        if (KINDS[kind] && bundle) channels.set(record.id, { bundle, kind, topic: record.topic });
      } else if (record.type === 'Message' && channels.has(record.channelId)) {
        const channel = channels.get(record.channelId);
        let parsed;
        try {
          parsed = JSON.parse(decoder.decode(record.data));
        } catch (error) {
          throw new Error(`message ${record.sequence} of ${channel.topic} is not JSON: ${error.message}`);
        }
        messages.push({ ...channel, logTime: record.logTime, publishTime: record.publishTime, sequence: record.sequence, record: parsed });
      }
    }
  } catch (error) {
    throw new Error(`recording ${file}: ${error.message}`);
  }
  return { messages, complete: reader.done() };
}

module.exports = { createRecording, readRecording, CHUNK_BYTES };
