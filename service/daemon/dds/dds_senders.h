// Who wrote a sample. Any participant can put any string in a sample's
// fields (the `instance` of a record, the `requester` of a request), so the
// bridge believes only what Cyclone itself says: the DDS writer of each
// sample (its info's publication_handle) and, from the reader's matched
// writers, the participant that writer belongs to. With DDS Security on,
// that participant has proven its identity; without it, it is at least the
// participant that actually sent the sample, not one whose id was copied.
//
// Threads: one SampleSenders per reader, used by the bridge's thread only.
#ifndef SERVICE_DAEMON_DDS_DDS_SENDERS_H
#define SERVICE_DAEMON_DDS_DDS_SENDERS_H

#include <string>
#include <unordered_map>

#include <dds/dds.h>

namespace OHOS::NavigationInfoService {

struct SampleSender {
    dds_instance_handle_t writer = 0; // the writer's handle in this process (never reused)
    std::string participant;          // its participant's GUID (GuidHex); empty when unknown
    // What the writer announced in its user data when it was discovered: a
    // daemon's request writer announces its node name (AnnouncedNodeQos).
    // Its own word, like a sample's fields, but bound to its participant.
    std::string announcedNode;
};

class SampleSenders {
public:
    explicit SampleSenders(dds_entity_t reader) : reader_(reader) {}
    // The sender of a sample this reader gave. Unknown (empty participant)
    // when the writer is no longer matched, e.g. deleted since it wrote.
    SampleSender Of(const dds_sample_info_t& info);

private:
    const dds_entity_t reader_;
    // Writers seen, by handle: handles are not reused within a process, so
    // an entry never goes wrong; cleared when full, to stay bounded.
    std::unordered_map<dds_instance_handle_t, SampleSender> writers_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_DDS_SENDERS_H
