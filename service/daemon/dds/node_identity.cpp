#include "node_identity.h"

#include <openssl/sha.h>

#include <cstdint>
#include <vector>

namespace OHOS::NavigationInfoService {
namespace {

using Der = std::vector<uint8_t>;

// One DER element: tag, definite length (short or long form), content.
Der Element(uint8_t tag, const Der& content)
{
    Der out{tag};
    const size_t size = content.size();
    if (size < 0x80) {
        out.push_back(static_cast<uint8_t>(size));
    } else {
        Der length;
        for (size_t rest = size; rest != 0; rest >>= 8) {
            length.insert(length.begin(), static_cast<uint8_t>(rest & 0xff));
        }
        out.push_back(static_cast<uint8_t>(0x80 | length.size()));
        out.insert(out.end(), length.begin(), length.end());
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Der Concat(const Der& a, const Der& b)
{
    Der out = a;
    out.insert(out.end(), b.begin(), b.end());
    return out;
}

// A relative distinguished name of one attribute (OID 2.5.4.<attribute>) with a UTF8String value.
Der Rdn(uint8_t attribute, const std::string& value)
{
    constexpr uint8_t SEQUENCE = 0x30, SET = 0x31, OID = 0x06, UTF8_STRING = 0x0c;
    const Der oid = Element(OID, {0x55, 0x04, attribute});
    return Element(SET, Element(SEQUENCE, Concat(oid, Element(UTF8_STRING, Der(value.begin(), value.end())))));
}

} // namespace

std::string NodeGuidPrefixHex(const std::string& node)
{
    constexpr uint8_t ORGANIZATION = 10, COMMON_NAME = 3;
    const Der subject = Element(0x30, Concat(Rdn(ORGANIZATION, "navinfo"), Rdn(COMMON_NAME, node)));
    uint8_t hash[SHA256_DIGEST_LENGTH];
    SHA256(subject.data(), subject.size(), hash);
    uint64_t bits = 0;
    for (int i = 0; i < 6; ++i) {
        bits = (bits << 8) | hash[i];
    }
    bits = (bits >> 1) | (uint64_t{1} << 47);
    static const char digits[] = "0123456789abcdef";
    std::string out(12, '0');
    for (int i = 11; i >= 0; --i, bits >>= 4) {
        out[static_cast<size_t>(i)] = digits[bits & 0xf];
    }
    return out;
}

bool ParticipantIsNode(const std::string& participant, const std::string& node)
{
    return participant.size() >= 12 && participant.compare(0, 12, NodeGuidPrefixHex(node)) == 0;
}

} // namespace OHOS::NavigationInfoService
