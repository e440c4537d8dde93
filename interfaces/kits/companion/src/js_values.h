// Small helpers for the companion's exports: reading arguments, making
// values, throwing errors, and keeping C++ exceptions out of Node-API.
#ifndef NAVINFO_COMPANION_JS_VALUES_H
#define NAVINFO_COMPANION_JS_VALUES_H

#include <node_api.h>

#include <cstdint>
#include <exception>
#include <string>

namespace NavInfoCompanion {

// Throws a TypeError with message unless an exception is already pending;
// returns null, so that a callback can `return ThrowTypeError(...)`.
napi_value ThrowTypeError(napi_env env, const char* message);

// False when value is not of that type.
bool ReadString(napi_env env, napi_value value, std::string& out);
bool ReadInt32(napi_env env, napi_value value, int32_t& out);
bool ReadBool(napi_env env, napi_value value, bool& out);
bool IsFunction(napi_env env, napi_value value);

napi_value MakeInt32(napi_env env, int32_t value);
napi_value MakeDouble(napi_env env, double value);
napi_value MakeString(napi_env env, const std::string& value);
napi_value MakeBool(napi_env env, bool value);
napi_value Undefined(napi_env env);
// Sets object[name] = value; false when that failed.
bool SetNamed(napi_env env, napi_value object, const char* name, napi_value value);

// The callback's arguments; missing ones read as undefined.
template <size_t N>
struct CallArgs {
    napi_value argv[N] = {};
    bool Read(napi_env env, napi_callback_info info)
    {
        size_t argc = N;
        if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok) {
            return false;
        }
        for (size_t i = argc; i < N; ++i) {
            napi_get_undefined(env, &argv[i]);
        }
        return true;
    }
};

// Runs body (which returns napi_value); an exception thrown inside
// (std::bad_alloc) becomes a JavaScript error instead of crossing into Node.
template <typename Body>
napi_value Guarded(napi_env env, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::exception& e) {
        napi_throw_error(env, nullptr, e.what());
    } catch (...) {
        napi_throw_error(env, nullptr, "navinfo_companion: unexpected failure");
    }
    return nullptr;
}

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_JS_VALUES_H
