'use strict';
// Reads the JSON object a query or command is sent with. Fails with an
// error carrying the HTTP status to answer: 413 for a body over the limit
// (said by its Content-Length before anything is read, or found while
// reading), 400 for one that is not a JSON object.
const MAX_BODY_BYTES = 64 * 1024;

class BodyError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

function readJsonObject(request, limit = MAX_BODY_BYTES) {
  return new Promise((resolve, reject) => {
    const tooLarge = () => new BodyError(413, `the body is over ${limit} bytes`);
    const declared = Number(request.headers['content-length']);
    if (declared > limit) {
      // Not read: the server drains it after the answer, so that the
      // client gets the answer instead of a reset connection.
      reject(tooLarge());
      return;
    }
    let size = 0;
    let failed = false;
    const chunks = [];
    request.on('data', (chunk) => {
      if (failed) return;
      size += chunk.length;
      if (size > limit) {
        failed = true;
        chunks.length = 0;
        reject(tooLarge());
        return;
      }
      chunks.push(chunk);
    });
    request.on('end', () => {
      if (failed) return;
      let body;
      try {
        body = JSON.parse(Buffer.concat(chunks).toString('utf8'));
      } catch {
        reject(new BodyError(400, 'the body is not JSON'));
        return;
      }
      if (body === null || typeof body !== 'object' || Array.isArray(body)) {
        reject(new BodyError(400, 'the body must be a JSON object'));
        return;
      }
      resolve(body);
    });
    request.on('error', reject);
  });
}

module.exports = { readJsonObject, BodyError, MAX_BODY_BYTES };
