#include "want_params.h"

#include <cmath>
#include <cstdio>

namespace OHOS::AAFwk {

WantValue::WantValue() : type_(Type::WANT_PARAMS), params_(std::make_unique<WantParams>()) {}

WantValue::WantValue(const WantValue& other)
    : type_(other.type_),
      number_(other.number_),
      string_(other.string_),
      params_(other.params_ ? std::make_unique<WantParams>(*other.params_) : nullptr),
      array_(other.array_)
{
}

WantValue::WantValue(WantValue&& other) noexcept = default;

WantValue& WantValue::operator=(const WantValue& other)
{
    if (this != &other) {
        WantValue copy(other);
        *this = std::move(copy);
    }
    return *this;
}

WantValue& WantValue::operator=(WantValue&& other) noexcept = default;

WantValue::~WantValue() = default;

WantValue WantValue::Bool(bool value)
{
    WantValue v(Type::BOOLEAN);
    v.number_.bool_ = value;
    return v;
}

WantValue WantValue::Int(int32_t value)
{
    WantValue v(Type::INT);
    v.number_.int_ = value;
    return v;
}

WantValue WantValue::Long(int64_t value)
{
    WantValue v(Type::LONG);
    v.number_.long_ = value;
    return v;
}

WantValue WantValue::Double(double value)
{
    WantValue v(Type::DOUBLE);
    v.number_.double_ = value;
    return v;
}

WantValue WantValue::String(std::string value)
{
    WantValue v(Type::STRING);
    v.string_ = std::move(value);
    return v;
}

WantValue WantValue::Params(WantParams value)
{
    WantValue v;
    *v.params_ = std::move(value);
    return v;
}

WantValue WantValue::Array(std::vector<WantValue> value)
{
    WantValue v(Type::ARRAY);
    v.array_ = std::move(value);
    return v;
}

bool WantValue::GetBool() const
{
    return type_ == Type::BOOLEAN && number_.bool_;
}

int32_t WantValue::GetInt() const
{
    return type_ == Type::INT ? number_.int_ : 0;
}

int64_t WantValue::GetLong() const
{
    return type_ == Type::LONG ? number_.long_ : 0;
}

double WantValue::GetDouble() const
{
    return type_ == Type::DOUBLE ? number_.double_ : 0.0;
}

const std::string& WantValue::GetString() const
{
    static const std::string empty;
    return type_ == Type::STRING ? string_ : empty;
}

const WantParams& WantValue::GetParams() const
{
    static const WantParams empty;
    return (type_ == Type::WANT_PARAMS && params_) ? *params_ : empty;
}

const std::vector<WantValue>& WantValue::GetArray() const
{
    static const std::vector<WantValue> empty;
    return type_ == Type::ARRAY ? array_ : empty;
}

bool WantValue::operator==(const WantValue& other) const
{
    if (type_ != other.type_) {
        return false;
    }
    switch (type_) {
        case Type::BOOLEAN: return number_.bool_ == other.number_.bool_;
        case Type::INT: return number_.int_ == other.number_.int_;
        case Type::LONG: return number_.long_ == other.number_.long_;
        case Type::DOUBLE:
            // NaN equals NaN here: two maps holding the same NaN are the same data.
            return number_.double_ == other.number_.double_ ||
                (std::isnan(number_.double_) && std::isnan(other.number_.double_));
        case Type::STRING: return string_ == other.string_;
        case Type::WANT_PARAMS: return GetParams() == other.GetParams();
        case Type::ARRAY: return array_ == other.array_;
    }
    return false;
}

void WantParams::SetParam(const std::string& key, WantValue value)
{
    for (auto& entry : entries_) {
        if (entry.first == key) {
            entry.second = std::move(value);
            return;
        }
    }
    entries_.emplace_back(key, std::move(value));
}

void WantParams::AppendParam(std::string&& key, WantValue&& value)
{
    entries_.emplace_back(std::move(key), std::move(value));
}

const WantValue* WantParams::GetParam(const std::string& key) const
{
    for (const auto& entry : entries_) {
        if (entry.first == key) {
            return &entry.second;
        }
    }
    return nullptr;
}

bool WantParams::HasParam(const std::string& key) const
{
    return GetParam(key) != nullptr;
}

void WantParams::Remove(const std::string& key)
{
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (it->first == key) {
            entries_.erase(it);
            return;
        }
    }
}

bool WantParams::operator==(const WantParams& other) const
{
    if (entries_.size() != other.entries_.size()) {
        return false;
    }
    for (const auto& entry : entries_) {
        const WantValue* value = other.GetParam(entry.first);
        if (value == nullptr || *value != entry.second) {
            return false;
        }
    }
    return true;
}

namespace {

void AppendQuoted(std::string& out, const std::string& text)
{
    out.push_back('"');
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(static_cast<char>(c));
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof(buf), "\\u%04x", c);
            out += buf;
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    out.push_back('"');
}

void AppendValue(std::string& out, const WantValue& value)
{
    char buf[32];
    switch (value.GetType()) {
        case WantValue::Type::BOOLEAN: out += value.GetBool() ? "true" : "false"; break;
        case WantValue::Type::INT: out += std::to_string(value.GetInt()); break;
        case WantValue::Type::LONG: out += std::to_string(value.GetLong()) + "L"; break;
        case WantValue::Type::DOUBLE:
            std::snprintf(buf, sizeof(buf), "%.17g", value.GetDouble());
            out += buf;
            if (out.find_first_of(".eEn", out.size() - std::char_traits<char>::length(buf)) == std::string::npos) {
                out += ".0";
            }
            break;
        case WantValue::Type::STRING: AppendQuoted(out, value.GetString()); break;
        case WantValue::Type::WANT_PARAMS: out += value.GetParams().ToString(); break;
        case WantValue::Type::ARRAY: {
            out.push_back('[');
            bool first = true;
            for (const auto& element : value.GetArray()) {
                if (!first) {
                    out.push_back(',');
                }
                first = false;
                AppendValue(out, element);
            }
            out.push_back(']');
            break;
        }
    }
}

} // namespace

std::string WantParams::ToString() const
{
    std::string out = "{";
    bool first = true;
    for (const auto& entry : entries_) {
        if (!first) {
            out.push_back(',');
        }
        first = false;
        AppendQuoted(out, entry.first);
        out.push_back(':');
        AppendValue(out, entry.second);
    }
    out.push_back('}');
    return out;
}

} // namespace OHOS::AAFwk
