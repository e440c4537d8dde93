// libFuzzer target for the access policy parser: any text gives a policy
// (deny-all on failure) and, on failure, a reason that is one short line,
// whatever names or nesting the text holds.
#include <cstddef>
#include <cstdint>
#include <string>

#include "access_policy_file.h"

using namespace OHOS::NavigationInfoService;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    PolicyLoadResult result = ParseAccessPolicy(text);
    if (result.policy == nullptr || result.ok != result.error.empty()) {
        __builtin_trap();
    }
    if (result.error.find('\n') != std::string::npos || result.error.size() > 300) {
        __builtin_trap(); // a reason must stay one short line
    }
    if (!result.ok && (result.policy->IsSystemApp({}) || !result.policy->Bundles().empty())) {
        __builtin_trap(); // a refused text must deny everything
    }
    return 0;
}
