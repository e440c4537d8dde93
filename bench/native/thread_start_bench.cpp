// The cost of starting and joining one thread: the floor that
// bench/daemon_roundtrip.js adds to a raw socket round trip.
#include <benchmark/benchmark.h>

#include <thread>

static void BM_ThreadStartJoin(benchmark::State& state)
{
    for (auto _ : state) {
        std::thread thread([] { benchmark::DoNotOptimize(0); });
        thread.join();
    }
}
BENCHMARK(BM_ThreadStartJoin)->UseRealTime();
