// The hand-off steps shared by the listener classes: an IPC thread starts a
// detached delivery thread with a copy of the class's current record, and the
// delivery thread queues a heap copy of the data on the record's
// thread-safe function.
#ifndef NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H
#define NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H

#include <utility>

#include "nav_napi_common.h"

namespace OHOS::NavigationInfoService {

// IPC thread. False when there is no record yet or no thread could be
// started; the delivery is then dropped.
template <typename Data>
bool StartDelivery(const ThreadSafeFnSlot& slot, Data data, void (*callThreadSafeFunc)(const ThreadSafeFnInfo&, Data))
{
    sptr<ThreadSafeFnInfo> current = slot.Get();
    if (current == nullptr) {
        return false;
    }
    ThreadSafeFnInfo record(*current);
    return StartDeliveryThread([callThreadSafeFunc, record, data = std::move(data)]() mutable {
        callThreadSafeFunc(record, std::move(data));
    });
}

// Delivery thread. False when the thread-safe function could not be
// acquired; the copy is freed then, and also when it could not be queued.
// Once queued, the copy belongs to the record's call-into-JavaScript function.
template <typename Data>
bool QueueDelivery(const ThreadSafeFnInfo& info, const Data& data)
{
    auto* heapData = new Data(data);
    if (napi_acquire_threadsafe_function(info.tsfn) != napi_ok) {
        delete heapData;
        return false;
    }
    if (napi_call_threadsafe_function(info.tsfn, heapData, napi_tsfn_blocking) != napi_ok) {
        delete heapData;
    }
    return true;
}

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H
