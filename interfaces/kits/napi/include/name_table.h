// A fixed table of names found by hashing: the parsers dispatch each
// property name, and the kind readers each kind name, with one hash and one
// comparison instead of comparing it with every name in turn.
#ifndef NAVIGATION_INFO_NAPI_NAME_TABLE_H
#define NAVIGATION_INFO_NAPI_NAME_TABLE_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace OHOS::NavigationInfoService {

class NameTable {
public:
    static constexpr int NOT_FOUND = -1;

    // names[i] is found as i. Built once, at static initialisation.
    template <typename Names>
    explicit NameTable(const Names& names)
    {
        for (const auto& name : names) {
            names_.emplace_back(name);
        }
        size_t size = 8;
        while (size < names_.size() * 4) {
            size *= 2;
        }
        slots_.assign(size, NOT_FOUND);
        mask_ = size - 1;
        for (size_t i = 0; i < names_.size(); ++i) {
            size_t slot = Hash(names_[i]) & mask_;
            while (slots_[slot] != NOT_FOUND) {
                slot = (slot + 1) & mask_;
            }
            slots_[slot] = static_cast<int>(i);
        }
    }

    // The index of text, exactly and case-sensitively, or NOT_FOUND.
    int Find(std::string_view text) const
    {
        for (size_t slot = Hash(text) & mask_;; slot = (slot + 1) & mask_) {
            int index = slots_[slot];
            if (index == NOT_FOUND || names_[index] == text) {
                return index;
            }
        }
    }

private:
    // FNV-1a.
    static size_t Hash(std::string_view text)
    {
        uint32_t hash = 2166136261u;
        for (char c : text) {
            hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
        }
        return hash;
    }

    std::vector<std::string_view> names_;
    std::vector<int> slots_;
    size_t mask_ = 0;
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAME_TABLE_H
