'use strict';
// Waiting for what a benchmark's child process prints.

// Resolves with everything the child printed once its output matches
// pattern; rejects if it exits first.
function waitForLine(child, pattern) {
  return new Promise((resolve, reject) => {
    let text = '';
    child.stdout.on('data', (chunk) => {
      text += chunk;
      if (pattern.test(text)) resolve(text);
    });
    child.once('exit', (code) => reject(new Error(`exited early (${code}): ${text}`)));
  });
}

module.exports = { waitForLine };
