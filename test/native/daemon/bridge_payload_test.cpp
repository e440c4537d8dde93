// The bytes the DDS bridge carries: what one daemon encodes, the other
// decodes to the same record; anything a local socket would refuse, or any
// byte too many, is refused.
#include <gtest/gtest.h>

#include "bridge_payload.h"
#include "ipc_limits.h"
#include "record_marshalling.h"
#include "record_samples.h"

using namespace OHOS;
using namespace OHOS::NavigationInfoService;
using namespace OHOS::NavigationInfoService::Testing;

TEST(BridgePayload, RecordsRoundTripAndTrailingTruncatedOrOversizedBytesAreRefused)
{
    for (const NavigationStatus& status : StatusSamples()) {
        BridgePayload::Bytes bytes;
        ASSERT_TRUE(BridgePayload::Encode(status, bytes));
        NavigationStatus back;
        ASSERT_TRUE(BridgePayload::Decode(bytes.data(), bytes.size(), back));
        EXPECT_TRUE(Same(status, back));

        BridgePayload::Bytes longer = bytes;
        longer.insert(longer.end(), 4, 0);
        EXPECT_FALSE(BridgePayload::Decode(longer.data(), longer.size(), back)) << "trailing bytes";
        EXPECT_FALSE(BridgePayload::Decode(bytes.data(), bytes.size() - 4, back)) << "truncated";
    }
    ResultData result{1004, "Timed out", RichParams()};
    BridgePayload::Bytes bytes;
    ASSERT_TRUE(BridgePayload::Encode(result, bytes));
    ResultData back;
    ASSERT_TRUE(BridgePayload::Decode(bytes.data(), bytes.size(), back));
    EXPECT_TRUE(Same(result, back));

    AAFwk::WantParams params;
    BridgePayload::Bytes huge(kMaxFramePayload + 8, 0);
    EXPECT_FALSE(BridgePayload::Decode(huge.data(), huge.size(), params)) << "larger than a socket frame";
    EXPECT_FALSE(BridgePayload::Decode(nullptr, 0, params));
    EXPECT_FALSE(BridgePayload::Encode(NestedParams(Marshalling::MAX_WANT_DEPTH + 1), bytes)) << "too deep to send";
    EXPECT_FALSE(BridgePayload::Decode(bytes.data(), bytes.size(), params)) << "nothing left to decode";
}
