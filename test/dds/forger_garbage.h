// The forger's garbage mode: one participant of the network writing, as fast
// as it can and without waiting for anybody to match, samples of every topic
// of the bridge with random 1 MiB payloads (the largest the IDL allows),
// random or copied names and instances, and records over the IDL's bound
// (through a type of the same name with a larger bound). It prints
// "flooding" when it starts and, when its time is up, one JSON line with the
// samples it wrote.
#ifndef TEST_DDS_FORGER_GARBAGE_H
#define TEST_DDS_FORGER_GARBAGE_H

#include <chrono>
#include <string>

namespace Forger {

int RunGarbage(const char* domain, const char* partition, const std::string& bundle,
    std::chrono::steady_clock::time_point deadline);

} // namespace Forger

#endif // TEST_DDS_FORGER_GARBAGE_H
