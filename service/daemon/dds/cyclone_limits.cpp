#include "cyclone_limits.h"

namespace OHOS::NavigationInfoService {

std::string ConfigWithBridgeLimits(const char* uri)
{
    // Of several configurations, Cyclone takes each setting from the last that gives it.
    std::string limits = "<CycloneDDS><Domain id=\"any\"><Internal>"
                         "<MaxSampleSize>" +
        std::to_string(MAX_BRIDGE_SAMPLE_BYTES) +
        "B</MaxSampleSize>"
        "<DefragReliableMaxSamples>" +
        std::to_string(MAX_BRIDGE_DEFRAG_SAMPLES) +
        "</DefragReliableMaxSamples>"
        "<DefragUnreliableMaxSamples>" +
        std::to_string(MAX_BRIDGE_DEFRAG_SAMPLES) +
        "</DefragUnreliableMaxSamples>"
        "<PrimaryReorderMaxSamples>" +
        std::to_string(MAX_BRIDGE_REORDER_SAMPLES) +
        "</PrimaryReorderMaxSamples>"
        "<SecondaryReorderMaxSamples>" +
        std::to_string(MAX_BRIDGE_REORDER_SAMPLES) +
        "</SecondaryReorderMaxSamples>"
        "<DeliveryQueueMaxSamples>" +
        std::to_string(MAX_BRIDGE_DELIVERY_QUEUE) +
        "</DeliveryQueueMaxSamples>"
        "</Internal></Domain></CycloneDDS>";
    if (uri == nullptr || uri[0] == '\0') {
        return limits;
    }
    return std::string(uri) + "," + limits;
}

} // namespace OHOS::NavigationInfoService
