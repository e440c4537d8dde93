// Observing the queries and commands sent to a navigation application: a
// system application with the navigation permission (a recorder) registers
// an observer for a bundle and is told of each request the core accepts for
// that bundle, and of its completion, both under the same request id.
//
// Observations go through an outbox per observer registration (as records
// go to followers), so an observer never holds up a request: one that
// cannot keep up loses the observations pending for it (counted in the log).
#ifndef SERVICE_REQUEST_OBSERVER_H
#define SERVICE_REQUEST_OBSERVER_H

#include <cstdint>
#include <string>

#include "navigation_info_data.h"
#include "refbase.h"
#include "want_params.h"

namespace OHOS::NavigationInfoService {

struct RequestObservation {
    enum class Kind : int32_t { QUERY = 0, COMMAND = 1 };
    uint64_t requestId = 0; // unique in this service; the answer carries the same
    bool answered = false;  // false: accepted (requester, kind, type, params); true: completed (answer)
    std::string requester;  // bundle name of the application that asked
    Kind kind = Kind::QUERY;
    int32_t type = 0; // QueryType or CommandType
    AAFwk::WantParams params;
    ResultData answer; // what the requester was answered (also 1004, 1003, 1002 of the service)
};

class IRequestObserver : public virtual RefBase {
public:
    // bundle: the navigation application the request was sent to.
    virtual void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) = 0;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_REQUEST_OBSERVER_H
