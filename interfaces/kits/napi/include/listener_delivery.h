// The hand-off steps shared by the listener classes: an IPC thread starts a
// detached delivery thread with a copy of the class's current record, and the
// delivery thread queues a heap copy of the data on the record's
// thread-safe function, in the place the IPC thread took for it.
#ifndef NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H
#define NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H

#include <memory>
#include <utility>

#include "nav_napi_common.h"
#include "napi_host/hand_off_ticket.h"

namespace OHOS::NavigationInfoService {

// IPC thread. False when there is no record yet or no thread could be
// started; the delivery is then dropped.
//
// The delivery takes its ticket here, where the service's callbacks of one
// listener come one after the other: JavaScript then sees the deliveries in
// this order, whichever delivery thread queues its item first. A delivery
// that ends without queueing gives its place up, so later ones do not wait.
template <typename Data>
bool StartDelivery(const ThreadSafeFnSlot& slot, Data data, void (*callThreadSafeFunc)(const ThreadSafeFnInfo&, Data))
{
    sptr<ThreadSafeFnInfo> current = slot.Get();
    if (current == nullptr) {
        return false;
    }
    ThreadSafeFnInfo record(*current);
    auto ticket = std::make_shared<NapiHost::HandOffTicket>(NapiHost::HandOffTicket::Take(record.tsfn));
    return StartDeliveryThread([callThreadSafeFunc, record, data = std::move(data), ticket]() mutable {
        NapiHost::HandOffTicket::Use inOrder(*ticket);
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

// JavaScript thread: calls the slot's current function (or fallback, see
// ThreadSafeFnSlot) as function(bundleName, record) with an undefined this,
// the record converted by convert; reports a failed step, and frees data.
template <typename Data, typename Convert>
void CallJsListener(napi_env env, napi_value fallback, Data* data, const ThreadSafeFnSlot& slot,
    const std::string& bundleName, Convert convert)
{
    napi_value function = nullptr;
    if (slot.GetFunction(env, fallback, function)) {
        napi_value argv[2] = {nullptr, nullptr};
        convert(env, argv[1]);
        if (napi_create_string_utf8(env, bundleName.c_str(), NAPI_AUTO_LENGTH, &argv[0]) != napi_ok ||
            napi_call_function(env, nullptr, function, 2, argv, nullptr) != napi_ok) {
            ThrowLastNapiError(env);
        }
    }
    delete data;
}

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_LISTENER_DELIVERY_H
