// A fixed table of names found by hashing: the parsers dispatch each
// property name, and the kind readers each kind name, with one hash of its
// length and three of its bytes and one comparison, instead of comparing it
// with every name in turn.
#ifndef NAVIGATION_INFO_NAPI_NAME_TABLE_H
#define NAVIGATION_INFO_NAPI_NAME_TABLE_H

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace OHOS::NavigationInfoService {

class NameTable {
public:
    static constexpr int NOT_FOUND = -1;

    // names[i] is found as i. Built once, at static initialisation: the
    // multiplier of the hash is chosen so that no two names share a slot,
    // when one of the tried multipliers does that.
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
        mask_ = size - 1;
        for (int attempt = 0; !Fill(size) && attempt < MAX_ATTEMPTS; ++attempt) {
            multiplier_ += 2 * 0x9E3779B9u; // stays odd
        }
    }

    // The index of text, exactly and case-sensitively, or NOT_FOUND.
    int Find(std::string_view text) const
    {
        for (size_t slot = Slot(text);; slot = (slot + 1) & mask_) {
            const Entry& entry = slots_[slot];
            if (entry.index == NOT_FOUND ||
                (entry.name.size() == text.size() && SameBytes(entry.name.data(), text.data(), text.size()))) {
                return entry.index;
            }
        }
    }

private:
    static constexpr int MAX_ATTEMPTS = 64;

    // Whether the n bytes at a and at b are the same. Names are short: this
    // compares them in place, eight bytes at a time (the last eight
    // overlapping) or four, instead of calling memcmp; it reads only those
    // n bytes of each.
    static bool SameBytes(const char* a, const char* b, size_t n)
    {
        if (n >= sizeof(uint64_t)) {
            for (size_t i = 0; i + sizeof(uint64_t) < n; i += sizeof(uint64_t)) {
                if (Load<uint64_t>(a + i) != Load<uint64_t>(b + i)) {
                    return false;
                }
            }
            const size_t last = n - sizeof(uint64_t);
            return Load<uint64_t>(a + last) == Load<uint64_t>(b + last);
        }
        if (n >= sizeof(uint32_t)) {
            const size_t last = n - sizeof(uint32_t);
            return Load<uint32_t>(a) == Load<uint32_t>(b) && Load<uint32_t>(a + last) == Load<uint32_t>(b + last);
        }
        for (size_t i = 0; i < n; ++i) {
            if (a[i] != b[i]) {
                return false;
            }
        }
        return true;
    }

    template <typename Word>
    static Word Load(const char* bytes)
    {
        Word word;
        std::memcpy(&word, bytes, sizeof(word));
        return word;
    }

    // Fills the slots, colliding names in the next free ones; false if any collided.
    bool Fill(size_t size)
    {
        slots_.assign(size, Entry{});
        bool perfect = true;
        for (size_t i = 0; i < names_.size(); ++i) {
            size_t slot = Slot(names_[i]);
            perfect = perfect && slots_[slot].index == NOT_FOUND;
            while (slots_[slot].index != NOT_FOUND) {
                slot = (slot + 1) & mask_;
            }
            slots_[slot] = Entry{names_[i], static_cast<int>(i)};
        }
        return perfect;
    }

    // From the length and three bytes, without a loop over the text.
    size_t Slot(std::string_view text) const
    {
        const size_t n = text.size();
        uint32_t key = static_cast<uint32_t>(n);
        if (n > 0) {
            key ^= static_cast<uint32_t>(static_cast<uint8_t>(text[0])) << 8 |
                static_cast<uint32_t>(static_cast<uint8_t>(text[n / 2])) << 16 |
                static_cast<uint32_t>(static_cast<uint8_t>(text[n - 1])) << 24;
        }
        return ((key * multiplier_) >> 16) & mask_;
    }

    // A slot holds its name with its index: a lookup reads one place.
    struct Entry {
        std::string_view name;
        int index = NOT_FOUND;
    };

    std::vector<std::string_view> names_;
    std::vector<Entry> slots_;
    size_t mask_ = 0;
    uint32_t multiplier_ = 2654435761u;
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAME_TABLE_H
