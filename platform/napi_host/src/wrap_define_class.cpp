// napi_define_class without a receiver check on the class's methods.
//
// Node makes each instance method of a class from a function template with a
// signature: called with a `this` that is not an instance of the class
// (`method.call({})`, `.call(null)`, a method taken off its object) it throws
// "TypeError: Illegal invocation" before the callback runs. The platform
// runtime makes no such check, and the module's methods never use `this`.
//
// The wrapper defines the class with its static properties only, then puts
// the instance properties on the prototype as ordinary properties, in the
// order given: each method as a function of the method's name with the
// descriptor's attributes, accessors and values as given. "constructor" is
// moved behind them, where Node lays it out, so the class keeps its shape:
// name, prototype keys and their order, attributes, function names.
//
// Thread: the env's JavaScript thread.
#include <string>
#include <vector>

#include "no_throw.h"
#include "real_napi.h"

namespace {

// The name a method function gets: the descriptor's name as text (a symbol
// gives the empty name).
std::string MethodName(napi_env env, const napi_property_descriptor& descriptor)
{
    if (descriptor.utf8name != nullptr) {
        return descriptor.utf8name;
    }
    size_t length = 0;
    if (napi_get_value_string_utf8(env, descriptor.name, nullptr, 0, &length) != napi_ok) {
        return "";
    }
    std::string name(length + 1, '\0');
    if (napi_get_value_string_utf8(env, descriptor.name, name.data(), name.size(), &length) != napi_ok) {
        return "";
    }
    name.resize(length);
    return name;
}

napi_status DefineOnPrototype(napi_env env, napi_value constructor,
    const std::vector<napi_property_descriptor>& instanceProperties)
{
    napi_value prototype = nullptr;
    napi_value constructorKey = nullptr;
    bool deleted = false;
    napi_status status = __real_napi_get_named_property(env, constructor, "prototype", &prototype);
    if (status == napi_ok) {
        status = napi_create_string_utf8(env, "constructor", NAPI_AUTO_LENGTH, &constructorKey);
    }
    if (status == napi_ok) {
        status = napi_delete_property(env, prototype, constructorKey, &deleted);
    }
    std::vector<napi_property_descriptor> properties;
    properties.reserve(instanceProperties.size() + 1);
    for (size_t i = 0; i < instanceProperties.size() && status == napi_ok; ++i) {
        napi_property_descriptor property = instanceProperties[i];
        if (property.method != nullptr) {
            std::string name = MethodName(env, property);
            status = napi_create_function(env, name.c_str(), name.size(), property.method, property.data,
                &property.value);
            property.method = nullptr;
            property.data = nullptr;
        }
        properties.push_back(property);
    }
    if (status != napi_ok) {
        return status;
    }
    properties.push_back({"constructor", nullptr, nullptr, nullptr, nullptr, constructor,
        static_cast<napi_property_attributes>(napi_writable | napi_configurable), nullptr});
    return __real_napi_define_properties(env, prototype, properties.size(), properties.data());
}

} // namespace

extern "C" napi_status __wrap_napi_define_class(napi_env env, const char* utf8name, size_t length,
    napi_callback constructor, void* data, size_t propertyCount, const napi_property_descriptor* properties,
    napi_value* result)
{
    return NapiHost::NoThrow([&] {
        if (env == nullptr || result == nullptr || (propertyCount > 0 && properties == nullptr)) {
            return __real_napi_define_class(env, utf8name, length, constructor, data, propertyCount, properties,
                result);
        }
        std::vector<napi_property_descriptor> staticProperties;
        std::vector<napi_property_descriptor> instanceProperties;
        for (size_t i = 0; i < propertyCount; ++i) {
            bool isStatic = (properties[i].attributes & napi_static) != 0;
            (isStatic ? staticProperties : instanceProperties).push_back(properties[i]);
        }
        napi_status status = __real_napi_define_class(env, utf8name, length, constructor, data, staticProperties.size(),
            staticProperties.data(), result);
        if (status != napi_ok || instanceProperties.empty()) {
            return status;
        }
        return DefineOnPrototype(env, *result, instanceProperties);
    });
}
