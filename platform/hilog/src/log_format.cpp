#include "log_format.h"

#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <cstdio>
#include <cstring>

namespace OHOS::HiviewDFX {
namespace {

constexpr const char PRIVATE_TEXT[] = "<private>";

enum class Length { NONE, HH, H, L, LL, Z, J, T, BIG_L };

// Reads "{public}" or "{private}" right after '%'; returns true for private.
bool ReadPrivacy(const char*& p)
{
    if (*p != '{') {
        return false;
    }
    const char* close = std::strchr(p, '}');
    if (close == nullptr) {
        return false;
    }
    bool isPrivate = (close - p - 1 == 7) && std::strncmp(p + 1, "private", 7) == 0;
    p = close + 1;
    return isPrivate;
}

Length ReadLength(const char*& p)
{
    switch (*p) {
        case 'h':
            ++p;
            if (*p == 'h') {
                ++p;
                return Length::HH;
            }
            return Length::H;
        case 'l':
            ++p;
            if (*p == 'l') {
                ++p;
                return Length::LL;
            }
            return Length::L;
        case 'z': ++p; return Length::Z;
        case 'j': ++p; return Length::J;
        case 't': ++p; return Length::T;
        case 'L': ++p; return Length::BIG_L;
        default: return Length::NONE;
    }
}

// The conversion is passed as a plain pointer: va_start on a reference
// parameter is undefined behaviour.
void AppendFormatted(std::string& out, const char* spec, ...)
{
    va_list ap;
    va_start(ap, spec);
    char small[128];
    va_list copy;
    va_copy(copy, ap);
    int n = std::vsnprintf(small, sizeof(small), spec, copy);
    va_end(copy);
    if (n >= 0 && static_cast<size_t>(n) < sizeof(small)) {
        out.append(small, static_cast<size_t>(n));
    } else if (n > 0) {
        std::string big(static_cast<size_t>(n) + 1, '\0');
        std::vsnprintf(big.data(), big.size(), spec, ap);
        out.append(big.data(), static_cast<size_t>(n));
    }
    va_end(ap);
}

// The branches differ only in the type va_arg reads, which bugprone-branch-clone does not compare.
// NOLINTBEGIN(bugprone-branch-clone)
bool ExpandInteger(std::string& out, const std::string& spec, Length len, bool isSigned, va_list& args)
{
    if (isSigned) {
        switch (len) {
            case Length::L: AppendFormatted(out, spec.c_str(), va_arg(args, long)); break;
            case Length::LL: AppendFormatted(out, spec.c_str(), va_arg(args, long long)); break;
            case Length::Z: AppendFormatted(out, spec.c_str(), va_arg(args, ssize_t)); break;
            case Length::J: AppendFormatted(out, spec.c_str(), va_arg(args, intmax_t)); break;
            case Length::T: AppendFormatted(out, spec.c_str(), va_arg(args, ptrdiff_t)); break;
            default: AppendFormatted(out, spec.c_str(), va_arg(args, int)); break;
        }
    } else {
        switch (len) {
            case Length::L: AppendFormatted(out, spec.c_str(), va_arg(args, unsigned long)); break;
            case Length::LL: AppendFormatted(out, spec.c_str(), va_arg(args, unsigned long long)); break;
            case Length::Z: AppendFormatted(out, spec.c_str(), va_arg(args, size_t)); break;
            case Length::J: AppendFormatted(out, spec.c_str(), va_arg(args, uintmax_t)); break;
            case Length::T: AppendFormatted(out, spec.c_str(), va_arg(args, ptrdiff_t)); break;
            default: AppendFormatted(out, spec.c_str(), va_arg(args, unsigned int)); break;
        }
    }
    return true;
}
// NOLINTEND(bugprone-branch-clone)

} // namespace

bool ExpandLogFormat(const char* fmt, va_list args, std::string& out)
{
    if (fmt == nullptr) {
        return false;
    }
    va_list ap;
    va_copy(ap, args);
    bool ok = true;
    for (const char* p = fmt; *p != '\0' && ok;) {
        if (*p != '%') {
            const char* next = std::strchr(p, '%');
            size_t n = next == nullptr ? std::strlen(p) : static_cast<size_t>(next - p);
            out.append(p, n);
            p += n;
            continue;
        }
        ++p;
        if (*p == '%') {
            out.push_back('%');
            ++p;
            continue;
        }
        bool isPrivate = ReadPrivacy(p);
        std::string spec = "%";
        while (*p != '\0' && std::strchr("-+ #0", *p) != nullptr) {
            spec.push_back(*p++);
        }
        // Widths and precisions given as '*' take an int argument each.
        auto readNumberOrStar = [&]() {
            if (*p == '*') {
                int value = va_arg(ap, int);
                spec += std::to_string(value);
                ++p;
                return;
            }
            while (*p >= '0' && *p <= '9') {
                spec.push_back(*p++);
            }
        };
        readNumberOrStar();
        if (*p == '.') {
            spec.push_back(*p++);
            readNumberOrStar();
        }
        const char* lengthStart = p;
        Length len = ReadLength(p);
        spec.append(lengthStart, static_cast<size_t>(p - lengthStart));
        char conv = *p;
        if (conv == '\0') {
            ok = false;
            break;
        }
        ++p;
        spec.push_back(conv);
        std::string value;
        switch (conv) {
            case 'd':
            case 'i': ExpandInteger(value, spec, len, true, ap); break;
            case 'u':
            case 'x':
            case 'X':
            case 'o': ExpandInteger(value, spec, len, false, ap); break;
            case 'c': AppendFormatted(value, spec.c_str(), va_arg(ap, int)); break;
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                // NOLINTNEXTLINE(bugprone-branch-clone): long double and double are read apart
                if (len == Length::BIG_L) {
                    AppendFormatted(value, spec.c_str(), va_arg(ap, long double));
                } else {
                    AppendFormatted(value, spec.c_str(), va_arg(ap, double));
                }
                break;
            case 's': {
                const char* s = va_arg(ap, const char*);
                AppendFormatted(value, spec.c_str(), s == nullptr ? "(null)" : s);
                break;
            }
            case 'p': AppendFormatted(value, spec.c_str(), va_arg(ap, void*)); break;
            default:
                ok = false; // unknown conversion: the argument list cannot be walked further
                break;
        }
        if (ok) {
            out += isPrivate ? PRIVATE_TEXT : value;
        }
    }
    va_end(ap);
    return ok;
}

} // namespace OHOS::HiviewDFX
