// Entry point of the napi_host test addon. Context-aware, so Workers can load it.
#include "host_addon.h"

namespace HostTest {

napi_value Throw(napi_env env, const char* message)
{
    napi_throw_error(env, nullptr, message);
    return nullptr;
}

bool GetArgs(napi_env env, napi_callback_info info, size_t* argc, napi_value* argv)
{
    return napi_get_cb_info(env, info, argc, argv, nullptr, nullptr) == napi_ok;
}

bool GetUint32(napi_env env, napi_value value, uint32_t* result)
{
    return napi_get_value_uint32(env, value, result) == napi_ok;
}

napi_value MakeInt(napi_env env, int64_t value)
{
    napi_value result = nullptr;
    napi_create_int64(env, value, &result);
    return result;
}

bool SetInt(napi_env env, napi_value object, const char* key, int64_t value)
{
    return napi_set_named_property(env, object, key, MakeInt(env, value)) == napi_ok;
}

void DefineExports(napi_env env, napi_value exports, const Export* list, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        napi_value fn = nullptr;
        if (napi_create_function(env, list[i].name, NAPI_AUTO_LENGTH, list[i].callback, nullptr, &fn) == napi_ok) {
            napi_set_named_property(env, exports, list[i].name, fn);
        }
    }
}

} // namespace HostTest

namespace {

// The statuses the tests compare with, by name.
napi_value MakeStatusTable(napi_env env)
{
    napi_value table = nullptr;
    napi_create_object(env, &table);
    HostTest::SetInt(env, table, "ok", napi_ok);
    HostTest::SetInt(env, table, "invalidArg", napi_invalid_arg);
    HostTest::SetInt(env, table, "genericFailure", napi_generic_failure);
    HostTest::SetInt(env, table, "queueFull", napi_queue_full);
    HostTest::SetInt(env, table, "closing", napi_closing);
    return table;
}

} // namespace

NAPI_MODULE_INIT()
{
    HostTest::DefineNullReceiverProbe(env, exports);
    HostTest::DefineAsyncWorkProbe(env, exports);
    HostTest::DefineTsfnProbe(env, exports);
    napi_set_named_property(env, exports, "status", MakeStatusTable(env));
    return exports;
}
