// Node's own implementations of the Node-API functions that napi_host wraps.
//
// Every library that links napi_host is linked with --wrap=<fn> for each name
// in NAPI_HOST_WRAPPED: its calls of <fn> reach __wrap_<fn> (napi_host), and a
// reference to __real_<fn> binds to the undefined symbol <fn>, which the node
// executable provides at load time. napi_host code must call a wrapped
// function through its __real_ name; calling it by its plain name would come
// back into the wrapper.
//
// The declarations carry default visibility: napi_host is compiled with hidden
// visibility, and an undefined symbol marked hidden could not be resolved from
// the node executable.
#ifndef NAPI_HOST_REAL_NAPI_H
#define NAPI_HOST_REAL_NAPI_H

#include <node_api.h>

#define NAPI_HOST_REAL extern "C" __attribute__((visibility("default")))

NAPI_HOST_REAL napi_status __real_napi_call_function(napi_env env, napi_value recv, napi_value func, size_t argc,
    const napi_value* argv, napi_value* result);

NAPI_HOST_REAL napi_status __real_napi_create_async_work(napi_env env, napi_value async_resource,
    napi_value async_resource_name, napi_async_execute_callback execute, napi_async_complete_callback complete,
    void* data, napi_async_work* result);
NAPI_HOST_REAL napi_status __real_napi_delete_async_work(napi_env env, napi_async_work work);
NAPI_HOST_REAL napi_status __real_napi_queue_async_work(napi_env env, napi_async_work work);

NAPI_HOST_REAL napi_status __real_napi_create_threadsafe_function(napi_env env, napi_value func,
    napi_value async_resource, napi_value async_resource_name, size_t max_queue_size, size_t initial_thread_count,
    void* thread_finalize_data, napi_finalize thread_finalize_cb, void* context,
    napi_threadsafe_function_call_js call_js_cb, napi_threadsafe_function* result);
NAPI_HOST_REAL napi_status __real_napi_call_threadsafe_function(napi_threadsafe_function func, void* data,
    napi_threadsafe_function_call_mode is_blocking);
NAPI_HOST_REAL napi_status __real_napi_acquire_threadsafe_function(napi_threadsafe_function func);
NAPI_HOST_REAL napi_status __real_napi_release_threadsafe_function(napi_threadsafe_function func,
    napi_threadsafe_function_release_mode mode);

NAPI_HOST_REAL napi_status __real_napi_define_class(napi_env env, const char* utf8name, size_t length,
    napi_callback constructor, void* data, size_t property_count, const napi_property_descriptor* properties,
    napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_define_properties(napi_env env, napi_value object, size_t property_count,
    const napi_property_descriptor* properties);

NAPI_HOST_REAL napi_status __real_napi_get_all_property_names(napi_env env, napi_value object,
    napi_key_collection_mode key_mode, napi_key_filter key_filter, napi_key_conversion key_conversion,
    napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_get_property(napi_env env, napi_value object, napi_value key,
    napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_get_property_names(napi_env env, napi_value object, napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_get_array_length(napi_env env, napi_value value, uint32_t* result);
NAPI_HOST_REAL napi_status __real_napi_get_element(napi_env env, napi_value object, uint32_t index, napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_set_element(napi_env env, napi_value object, uint32_t index, napi_value value);
NAPI_HOST_REAL napi_status __real_napi_get_named_property(napi_env env, napi_value object, const char* name,
    napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_set_named_property(napi_env env, napi_value object, const char* name,
    napi_value value);
NAPI_HOST_REAL napi_status __real_napi_coerce_to_bool(napi_env env, napi_value value, napi_value* result);
NAPI_HOST_REAL napi_status __real_napi_create_promise(napi_env env, napi_deferred* deferred, napi_value* promise);

#endif // NAPI_HOST_REAL_NAPI_H
