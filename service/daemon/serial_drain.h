// Work that several threads may ask for, run one at a time and never waited
// for: the first thread to ask runs it at once, and a thread that asks while
// it runs leaves at once too, after telling the running thread to run it
// once more before it returns. Each asking is followed by at least one whole
// run that starts after it, so work that takes everything queued (a DDS
// reader's samples) misses nothing, and no thread ever blocks on another.
//
// The DDS bridge takes a reader's samples this way on whichever Cyclone
// thread reports new data: no thread is woken to take them, no lock is held
// while they are handled (handling calls into DDS, which may wait for
// Cyclone's own threads), and the samples of one reader are handled in order.
//
// Threads: any.
#ifndef SERVICE_DAEMON_SERIAL_DRAIN_H
#define SERVICE_DAEMON_SERIAL_DRAIN_H

#include <atomic>
#include <cstdint>

namespace OHOS::NavigationInfoService {

class SerialDrain {
public:
    // Runs drain() on this thread, again for as long as other threads asked
    // meanwhile; or, while another thread runs it, has that thread run it once more.
    template <typename Drain>
    void Run(Drain&& drain)
    {
        if (asked_.fetch_add(1) != 0) {
            return; // the running thread runs it again for this asking
        }
        uint64_t covered = 1;
        for (;;) {
            drain();
            // What was asked after this run began needs one more run.
            const uint64_t before = asked_.fetch_sub(covered);
            if (before == covered) {
                return;
            }
            covered = before - covered;
        }
    }

private:
    std::atomic<uint64_t> asked_{0}; // askings not yet covered by a finished run
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_SERIAL_DRAIN_H
