// A typed parameter map for free-form data: booleans, 32- and 64-bit
// integers, doubles, strings, nested maps and arrays of these. Keys keep the
// order in which they were first set; copies are deep; equality compares
// keys and values regardless of order.
#ifndef PLATFORM_WANT_WANT_PARAMS_H
#define PLATFORM_WANT_WANT_PARAMS_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace OHOS::AAFwk {

class WantParams;

class WantValue {
public:
    enum class Type : uint8_t { BOOLEAN = 1, INT = 2, LONG = 3, DOUBLE = 4, STRING = 5, WANT_PARAMS = 6, ARRAY = 7 };

    WantValue(); // an empty map
    WantValue(const WantValue& other);
    WantValue(WantValue&& other) noexcept;
    WantValue& operator=(const WantValue& other);
    WantValue& operator=(WantValue&& other) noexcept;
    ~WantValue();

    static WantValue Bool(bool value);
    static WantValue Int(int32_t value);
    static WantValue Long(int64_t value);
    static WantValue Double(double value);
    static WantValue String(std::string value);
    static WantValue Params(WantParams value);
    static WantValue Array(std::vector<WantValue> value);

    Type GetType() const { return type_; }
    // Each getter is valid only for its own type; another type gives a default value.
    bool GetBool() const;
    int32_t GetInt() const;
    int64_t GetLong() const;
    double GetDouble() const;
    const std::string& GetString() const;
    const WantParams& GetParams() const;
    const std::vector<WantValue>& GetArray() const;

    bool operator==(const WantValue& other) const;
    bool operator!=(const WantValue& other) const { return !(*this == other); }

private:
    // A value of a type without a nested map, holding nothing yet: allocates nothing.
    explicit WantValue(Type type) noexcept : type_(type) {}

    Type type_;
    union {
        bool bool_;
        int32_t int_;
        int64_t long_;
        double double_;
    } number_{};
    std::string string_;
    std::unique_ptr<WantParams> params_;
    std::vector<WantValue> array_;
};

class WantParams {
public:
    using Entry = std::pair<std::string, WantValue>;

    WantParams() = default;
    WantParams(const WantParams& other) = default;
    WantParams(WantParams&& other) noexcept = default;
    WantParams& operator=(const WantParams& other) = default;
    WantParams& operator=(WantParams&& other) noexcept = default;
    ~WantParams() = default;

    // Replaces the value of an existing key in place, or appends a new key.
    void SetParam(const std::string& key, WantValue value);
    // Appends a key that is known not to be present yet (for example the own
    // keys of one JavaScript object) without the lookup SetParam makes, which
    // would cost a scan of all keys per insertion on wide maps.
    void AppendParam(std::string&& key, WantValue&& value);
    // Makes room for count keys in all, so that filling a map of known size
    // does not move its entries again and again.
    void Reserve(size_t count) { entries_.reserve(count); }
    const WantValue* GetParam(const std::string& key) const;
    bool HasParam(const std::string& key) const;
    void Remove(const std::string& key);
    size_t Size() const { return entries_.size(); }
    bool IsEmpty() const { return entries_.empty(); }
    const std::vector<Entry>& GetEntries() const { return entries_; }
    void Clear() { entries_.clear(); }

    bool operator==(const WantParams& other) const;
    bool operator!=(const WantParams& other) const { return !(*this == other); }

    // Readable text for logs and tests, for example {"a":1,"b":[true,"x"]}.
    std::string ToString() const;

private:
    std::vector<Entry> entries_;
};

} // namespace OHOS::AAFwk

#endif // PLATFORM_WANT_WANT_PARAMS_H
