// The floor of a publish (bench/publish.js): an addon that makes the
// Node-API calls updateNavigationStatus / updateNavigationMetadata make on
// the record they are given, in the same order and with the same arguments,
// and nothing else: no record is filled, no service is called, no name is
// looked up in a table. It is linked with napi_host like the module, so its
// calls pass through the same adapters (linker --wrap) as the module's do.
//
// What is read where is fixed once per record kind by prepare(kind, record),
// outside the timed loop: a plan with, for each property in the record's
// order, the read the module makes of its value (the module decides it by the
// property's name). status(record) and metadata(record) then replay the walk
// with the plan: the names listed, each name fetched and read as text, each
// value fetched by its key and read, nested objects and arrays alike, the
// counts taken from what Node answers. The custom data of metadata is read
// as want parameters are: what to read there follows from napi_typeof, as in
// the module.
//
// mark() makes one call of napi_get_version, which no publish makes: a
// bracket in a trace of Node-API calls (gdb, bench/publish_floor_trace.sh).
#include <node_api.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// The module's text buffer for names and short strings.
constexpr size_t TEXT_BUFFER = 256;
// A UTF-8 character takes at most 4 bytes.
constexpr size_t MAX_UTF8_CHAR_BYTES = 4;
// Levels of nesting the want-parameter reader reads.
constexpr size_t MAX_WANT_DEPTH = 32;

enum class Read { NONE, INT32, UINT32, DOUBLE, BOOL, TEXT, BYTES, FIELDS, LIST, WANT };

// The read of one value; for FIELDS the plans of its properties, for LIST
// those of its elements, in order.
struct Plan {
    Read read = Read::NONE;
    std::vector<Plan> parts;
};

Plan g_status;
Plan g_metadata;

// ---- Replaying a walk (timed) ----

void ReadValue(napi_env env, napi_value value, const Plan& plan);

// A name's text, then its value by key: the module's property fetch.
bool FetchProperty(napi_env env, napi_value object, napi_value names, uint32_t i, napi_value& value)
{
    napi_value key = nullptr;
    if (napi_get_element(env, names, i, &key) != napi_ok) {
        return false;
    }
    char name[TEXT_BUFFER];
    size_t written = 0;
    if (napi_get_value_string_utf8(env, key, name, sizeof(name), &written) != napi_ok || written == 0) {
        return false;
    }
    return napi_get_property(env, object, key, &value) == napi_ok;
}

void ReadFields(napi_env env, napi_value object, const Plan& plan)
{
    napi_value names = nullptr;
    uint32_t length = 0;
    if (napi_get_property_names(env, object, &names) != napi_ok ||
        napi_get_array_length(env, names, &length) != napi_ok) {
        return;
    }
    static const Plan unknown;
    for (uint32_t i = 0; i < length; ++i) {
        napi_value value = nullptr;
        if (!FetchProperty(env, object, names, i, value)) {
            return;
        }
        ReadValue(env, value, i < plan.parts.size() ? plan.parts[i] : unknown);
    }
}

// An array as the module reads one: its names are listed (and counted), its
// elements fetched by index.
void ReadList(napi_env env, napi_value array, const Plan& plan)
{
    napi_value names = nullptr;
    uint32_t length = 0;
    if (napi_get_property_names(env, array, &names) != napi_ok ||
        napi_get_array_length(env, names, &length) != napi_ok) {
        return;
    }
    static const Plan unknown;
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        if (napi_get_element(env, array, i, &element) != napi_ok) {
            return;
        }
        ReadValue(env, element, i < plan.parts.size() ? plan.parts[i] : unknown);
    }
}

// A string as the want-parameter reader and the text-vector reader take it:
// whole in one call when short, else its length and then the whole of it.
bool ReadText(napi_env env, napi_value value)
{
    char shortText[TEXT_BUFFER];
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, shortText, sizeof(shortText), &length) != napi_ok) {
        return false;
    }
    if (length + MAX_UTF8_CHAR_BYTES < sizeof(shortText)) {
        return true;
    }
    if (napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        return false;
    }
    std::string text(length + 1, '\0');
    return napi_get_value_string_utf8(env, value, text.data(), text.size(), &length) == napi_ok;
}

void ReadWantObject(napi_env env, napi_value object, size_t depth);

// One want-parameter value: what to read follows from its type. False when
// the reading stops.
bool ReadWantValue(napi_env env, napi_value value, size_t depth)
{
    napi_valuetype type = napi_undefined;
    if (napi_typeof(env, value, &type) != napi_ok) {
        return false;
    }
    switch (type) {
        case napi_boolean: {
            bool flag = false;
            return napi_get_value_bool(env, value, &flag) == napi_ok;
        }
        case napi_number: {
            double number = 0;
            return napi_get_value_double(env, value, &number) == napi_ok;
        }
        case napi_string: return ReadText(env, value);
        case napi_bigint: {
            int64_t number = 0;
            bool lossless = false;
            return napi_get_value_bigint_int64(env, value, &number, &lossless) == napi_ok;
        }
        case napi_object: {
            if (depth > MAX_WANT_DEPTH) {
                return true; // left out, as the want-parameter reader leaves it
            }
            bool isArray = false;
            if (napi_is_array(env, value, &isArray) != napi_ok) {
                return false;
            }
            if (!isArray) {
                ReadWantObject(env, value, depth);
                return true;
            }
            uint32_t length = 0;
            if (napi_get_array_length(env, value, &length) != napi_ok) {
                return false;
            }
            for (uint32_t i = 0; i < length; ++i) {
                napi_value element = nullptr;
                if (napi_get_element(env, value, i, &element) != napi_ok || !ReadWantValue(env, element, depth + 1)) {
                    return false;
                }
            }
            return true;
        }
        default: return true;
    }
}

void ReadWantObject(napi_env env, napi_value object, size_t depth)
{
    bool isTypedArray = false;
    napi_value names = nullptr;
    uint32_t count = 0;
    if (napi_is_typedarray(env, object, &isTypedArray) != napi_ok || isTypedArray ||
        napi_get_all_property_names(env, object, napi_key_own_only,
            static_cast<napi_key_filter>(napi_key_enumerable | napi_key_skip_symbols), napi_key_numbers_to_strings,
            &names) != napi_ok ||
        napi_get_array_length(env, names, &count) != napi_ok) {
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        napi_value key = nullptr;
        napi_value value = nullptr;
        if (napi_get_element(env, names, i, &key) != napi_ok || !ReadText(env, key) ||
            napi_get_property(env, object, key, &value) != napi_ok || !ReadWantValue(env, value, depth + 1)) {
            return;
        }
    }
}

void ReadValue(napi_env env, napi_value value, const Plan& plan)
{
    switch (plan.read) {
        case Read::NONE: break;
        case Read::INT32: {
            int32_t number = 0;
            napi_get_value_int32(env, value, &number);
            break;
        }
        case Read::UINT32: {
            uint32_t number = 0;
            napi_get_value_uint32(env, value, &number);
            break;
        }
        case Read::DOUBLE: {
            double number = 0;
            napi_get_value_double(env, value, &number);
            break;
        }
        case Read::BOOL: {
            bool flag = false;
            napi_get_value_bool(env, value, &flag);
            break;
        }
        case Read::TEXT: {
            char text[TEXT_BUFFER];
            size_t written = 0;
            napi_get_value_string_utf8(env, value, text, sizeof(text), &written);
            break;
        }
        case Read::BYTES: ReadText(env, value); break;
        case Read::FIELDS: ReadFields(env, value, plan); break;
        case Read::LIST: ReadList(env, value, plan); break;
        case Read::WANT: {
            napi_valuetype type = napi_undefined;
            bool isArray = false;
            if (napi_typeof(env, value, &type) == napi_ok && type == napi_object &&
                napi_is_array(env, value, &isArray) == napi_ok && !isArray) {
                ReadWantObject(env, value, 1);
            }
            break;
        }
    }
}

napi_value Publish(napi_env env, napi_callback_info info, const Plan& plan)
{
    size_t argc = 1;
    napi_value argv[1] = {nullptr};
    napi_value self = nullptr;
    if (napi_get_cb_info(env, info, &argc, argv, &self, nullptr) != napi_ok || argc < 1) {
        return nullptr;
    }
    ReadValue(env, argv[0], plan);
    return nullptr;
}

napi_value Status(napi_env env, napi_callback_info info)
{
    return Publish(env, info, g_status);
}

napi_value Metadata(napi_env env, napi_callback_info info)
{
    return Publish(env, info, g_metadata);
}

// ---- Preparing the plans (not timed) ----

struct Field {
    const char* name;
    Read read;
};

const Field LOCATION_FIELDS[] = {{"name", Read::TEXT}, {"coordType", Read::INT32}, {"longitude", Read::DOUBLE},
    {"latitude", Read::DOUBLE}, {"altitude", Read::DOUBLE}};

const Field STATUS_FIELDS[] = {{"status", Read::INT32}, {"naviType", Read::INT32}, {"destLocation", Read::FIELDS},
    {"passPoint", Read::LIST}, {"routeIndex", Read::INT32}, {"customData", Read::TEXT}, {"theme", Read::INT32},
    {"routePreference", Read::LIST}};

const Field METADATA_FIELDS[] = {{"naviTurnMode", Read::UINT32}, {"segmentLeftDis", Read::UINT32},
    {"currentRoadName", Read::TEXT}, {"nextRoadName", Read::TEXT}, {"intersectionView", Read::BYTES},
    {"viewWidth", Read::UINT32}, {"viewHeight", Read::UINT32}, {"trafficLane", Read::BYTES},
    {"cameraSpeedLimitValid", Read::BOOL}, {"cameraSpeedLimit", Read::UINT32}, {"naviSpeedLimitValid", Read::BOOL},
    {"naviSpeedLimit", Read::UINT32}, {"currentSpeed", Read::UINT32}, {"naviBearing", Read::DOUBLE},
    {"totalLeftDis", Read::UINT32}, {"remainingTime", Read::UINT32}, {"customData", Read::WANT}};

template <size_t N>
Read ReadOf(const Field (&fields)[N], const std::string& name)
{
    for (const Field& field : fields) {
        if (name == field.name) {
            return field.read;
        }
    }
    return Read::NONE;
}

std::vector<std::string> OwnNames(napi_env env, napi_value object)
{
    std::vector<std::string> result;
    napi_value names = nullptr;
    uint32_t length = 0;
    if (napi_get_property_names(env, object, &names) != napi_ok ||
        napi_get_array_length(env, names, &length) != napi_ok) {
        return result;
    }
    for (uint32_t i = 0; i < length; ++i) {
        napi_value key = nullptr;
        char name[TEXT_BUFFER] = {0};
        size_t written = 0;
        napi_get_element(env, names, i, &key);
        napi_get_value_string_utf8(env, key, name, sizeof(name), &written);
        result.emplace_back(name, written);
    }
    return result;
}

napi_value Named(napi_env env, napi_value object, const std::string& name)
{
    napi_value value = nullptr;
    napi_get_named_property(env, object, name.c_str(), &value);
    return value;
}

Plan PlanLocation(napi_env env, napi_value object)
{
    Plan plan{Read::FIELDS, {}};
    for (const std::string& name : OwnNames(env, object)) {
        plan.parts.push_back({ReadOf(LOCATION_FIELDS, name), {}});
    }
    return plan;
}

Plan PlanStatus(napi_env env, napi_value record)
{
    Plan plan{Read::FIELDS, {}};
    for (const std::string& name : OwnNames(env, record)) {
        Read read = ReadOf(STATUS_FIELDS, name);
        napi_value value = Named(env, record, name);
        if (read == Read::FIELDS) {
            plan.parts.push_back(PlanLocation(env, value));
        } else if (read == Read::LIST) {
            Plan list{Read::LIST, {}};
            uint32_t length = 0;
            napi_get_array_length(env, value, &length);
            for (uint32_t i = 0; i < length; ++i) {
                napi_value element = nullptr;
                napi_get_element(env, value, i, &element);
                list.parts.push_back(name == "passPoint" ? PlanLocation(env, element) : Plan{Read::INT32, {}});
            }
            plan.parts.push_back(std::move(list));
        } else {
            plan.parts.push_back({read, {}});
        }
    }
    return plan;
}

Plan PlanMetadata(napi_env env, napi_value record)
{
    Plan plan{Read::FIELDS, {}};
    for (const std::string& name : OwnNames(env, record)) {
        plan.parts.push_back({ReadOf(METADATA_FIELDS, name), {}});
    }
    return plan;
}

// prepare(kind, record): fixes the plan of "status" or "metadata" records
// shaped as record.
napi_value Prepare(napi_env env, napi_callback_info info)
{
    size_t argc = 2;
    napi_value argv[2] = {nullptr, nullptr};
    char kind[16] = {0};
    size_t written = 0;
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok || argc < 2 ||
        napi_get_value_string_utf8(env, argv[0], kind, sizeof(kind), &written) != napi_ok) {
        napi_throw_type_error(env, nullptr, "prepare(kind, record) expects a kind and a record");
        return nullptr;
    }
    if (std::strcmp(kind, "status") == 0) {
        g_status = PlanStatus(env, argv[1]);
    } else if (std::strcmp(kind, "metadata") == 0) {
        g_metadata = PlanMetadata(env, argv[1]);
    } else {
        napi_throw_type_error(env, nullptr, "kind must be \"status\" or \"metadata\"");
    }
    return nullptr;
}

napi_value Mark(napi_env env, napi_callback_info /* info */)
{
    uint32_t version = 0;
    napi_get_version(env, &version);
    return nullptr;
}

} // namespace

NAPI_MODULE_INIT()
{
    napi_property_descriptor exported[] = {
        {"prepare", nullptr, Prepare, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"status", nullptr, Status, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"metadata", nullptr, Metadata, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"mark", nullptr, Mark, nullptr, nullptr, nullptr, napi_default, nullptr},
    };
    if (napi_define_properties(env, exports, sizeof(exported) / sizeof(exported[0]), exported) != napi_ok) {
        return nullptr;
    }
    return exports;
}
