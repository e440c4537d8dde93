'use strict';
// The test drive's last one out: started first with an IPC channel, it is
// told the process ids of the test drive's children. When the channel
// closes (the test drive ended, however it ended, SIGKILL included) it
// waits for those processes to end, which they do as their own channels
// close (navinfo-sim, navinfo-cluster) or on their parent's death
// (navinfo-service --exit-with-parent), and then removes the test drive's
// temporary folder. Usage (by separate_processes.js only): reaper.js FOLDER
const fs = require('node:fs');

const WAIT_MS = 10000;
const POLL_MS = 50;

const folder = process.argv[2];
const pids = new Set();

const alive = (pid) => {
  try {
    process.kill(pid, 0);
    return true;
  } catch (error) {
    return error.code === 'EPERM';
  }
};

// Ctrl-C reaches the whole process group: the test drive stops everything
// itself then, and this process ends when it has.
process.on('SIGINT', () => {});
process.on('message', (message) => {
  if (message && Number.isInteger(message.pid)) pids.add(message.pid);
});
process.on('disconnect', () => {
  const deadline = Date.now() + WAIT_MS;
  const check = () => {
    if ([...pids].some(alive) && Date.now() < deadline) {
      setTimeout(check, POLL_MS);
      return;
    }
    fs.rmSync(folder, { recursive: true, force: true });
  };
  check();
});
