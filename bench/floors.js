'use strict';
// The floors our figures are compared with, measured in the run that
// measures our path (bench/native): a 64-byte round trip between two
// processes over a Unix stream socket and the start of a detached thread
// (C++, navinfo_bench_floors), and a wake-up of this idle Node loop from
// another thread (navinfo_bench_loop_wake): medians, in nanoseconds; and
// detached threads started per second, 64 at a time.
const { execFileSync } = require('node:child_process');
const path = require('node:path');

const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));

async function measureFloors(samples = 2000) {
  const native = JSON.parse(execFileSync(path.join(buildDir, 'bin', 'navinfo_bench_floors'), [String(samples)],
    { encoding: 'utf8', timeout: 120000 }));
  const { wake } = require(path.join(buildDir, 'lib', 'navinfo_bench_loop_wake.node'));
  const wakes = [];
  for (let i = 0; i < 200 + samples; i++) {
    const ns = await wake();
    if (i >= 200) wakes.push(ns);
  }
  wakes.sort((a, b) => a - b);
  return {
    socketRoundTripNs: native.socketRoundTripNs.p50,
    threadStartNs: native.threadStartNs.p50,
    threadStartsPerSecond: native.threadStartsPerSecond,
    loopWakeNs: wakes[Math.floor(wakes.length / 2)],
  };
}

const us = (ns) => +(ns / 1000).toFixed(1);
const ratio = (value, floor) => +(value / floor).toFixed(2);

// The floors as printed: microseconds.
function floorsUs(floors) {
  return { socketRoundTrip: us(floors.socketRoundTripNs), threadStart: us(floors.threadStartNs),
    loopWake: us(floors.loopWakeNs) };
}

module.exports = { measureFloors, floorsUs, us, ratio };
