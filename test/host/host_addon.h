// Shared helpers of the napi_host test addon. Every function here runs on
// the JavaScript thread of the env it is given.
#ifndef NAPI_HOST_TEST_HOST_ADDON_H
#define NAPI_HOST_TEST_HOST_ADDON_H

#include <node_api.h>

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace HostTest {

struct Export {
    const char* name;
    napi_callback callback;
};
std::vector<Export>& Exports();
struct ExportRegistrar {
    ExportRegistrar(const char* name, napi_callback callback) { Exports().push_back({name, callback}); }
};

// Throws a JavaScript Error and returns false.
bool Fail(napi_env env, const char* message);
// Reads the first arguments as unsigned numbers; false (with an Error) when
// fewer were passed or one is not a number.
bool Uints(napi_env env, napi_callback_info info, const std::vector<uint32_t*>& out);
napi_value MakeInt(napi_env env, int64_t value);
// An object of integer properties.
napi_value Ints(napi_env env, std::initializer_list<std::pair<const char*, int64_t>> properties);

// Values by id, shared by every env of the process, so that a Worker can
// make one and the main thread use it after the Worker is gone. Leaked by
// their users: detached threads may still use them at exit.
template <typename T>
struct Table {
    std::mutex mu;
    std::unordered_map<uint32_t, T> byId; // guarded by mu
    uint32_t nextId = 1;                  // guarded by mu

    uint32_t Add(T value)
    {
        std::lock_guard<std::mutex> lock(mu);
        byId.emplace(nextId, std::move(value));
        return nextId++;
    }
    // Copies the value of id into result; with erase, removes it too.
    bool Find(uint32_t id, T* result, bool erase = false)
    {
        std::lock_guard<std::mutex> lock(mu);
        auto it = byId.find(id);
        if (it == byId.end()) {
            return false;
        }
        *result = it->second;
        if (erase) {
            byId.erase(it);
        }
        return true;
    }
};

} // namespace HostTest

#define HOST_EXPORT(name)                                                \
    static napi_value name(napi_env env, napi_callback_info info);       \
    static const HostTest::ExportRegistrar g_export_##name(#name, name); \
    static napi_value name([[maybe_unused]] napi_env env, [[maybe_unused]] napi_callback_info info)

#endif // NAPI_HOST_TEST_HOST_ADDON_H
