#include "dds_senders.h"

#include <algorithm>

#include "dds_entities.h"

namespace OHOS::NavigationInfoService {
namespace {

constexpr size_t MAX_KNOWN_WRITERS = 256;
// Longer is no node name (bridge_policy.h); kept one byte longer, so that it never equals one.
constexpr size_t MAX_ANNOUNCED_NODE_BYTES = 256;

} // namespace

SampleSender SampleSenders::Of(const dds_sample_info_t& info)
{
    auto known = writers_.find(info.publication_handle);
    if (known != writers_.end()) {
        return known->second;
    }
    SampleSender sender{info.publication_handle, {}, {}};
    dds_builtintopic_endpoint_t* writer = dds_get_matched_publication_data(reader_, info.publication_handle);
    if (writer == nullptr) {
        return sender;
    }
    sender.participant = GuidHex(writer->participant_key);
    void* userData = nullptr;
    size_t size = 0;
    if (writer->qos != nullptr && dds_qget_userdata(writer->qos, &userData, &size) && userData != nullptr) {
        sender.announcedNode.assign(static_cast<const char*>(userData), std::min(size, MAX_ANNOUNCED_NODE_BYTES + 1));
    }
    dds_free(userData);
    dds_builtintopic_free_endpoint(writer);
    if (writers_.size() >= MAX_KNOWN_WRITERS) {
        writers_.clear();
    }
    writers_.emplace(info.publication_handle, sender);
    return sender;
}

} // namespace OHOS::NavigationInfoService
