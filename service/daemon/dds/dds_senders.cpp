#include "dds_senders.h"

#include "dds_entities.h"

namespace OHOS::NavigationInfoService {
namespace {

constexpr size_t MAX_KNOWN_WRITERS = 256;

} // namespace

SampleSender SampleSenders::Of(const dds_sample_info_t& info)
{
    SampleSender sender{info.publication_handle, {}};
    auto known = participants_.find(info.publication_handle);
    if (known != participants_.end()) {
        sender.participant = known->second;
        return sender;
    }
    dds_builtintopic_endpoint_t* writer = dds_get_matched_publication_data(reader_, info.publication_handle);
    if (writer == nullptr) {
        return sender;
    }
    sender.participant = GuidHex(writer->participant_key);
    dds_builtintopic_free_endpoint(writer);
    if (participants_.size() >= MAX_KNOWN_WRITERS) {
        participants_.clear();
    }
    participants_.emplace(info.publication_handle, sender.participant);
    return sender;
}

} // namespace OHOS::NavigationInfoService
