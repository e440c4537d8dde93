// Keeps C++ exceptions from crossing into Node: every wrapper runs its body
// through NoThrow, which turns an escaping exception into a failure status.
#ifndef NAPI_HOST_NO_THROW_H
#define NAPI_HOST_NO_THROW_H

#include <node_api.h>

namespace NapiHost {

template <typename Body>
napi_status NoThrow(Body&& body) noexcept
{
    try {
        return body();
    } catch (...) {
        return napi_generic_failure;
    }
}

} // namespace NapiHost

#endif // NAPI_HOST_NO_THROW_H
