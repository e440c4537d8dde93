#include "cyclone_security.h"

#include <cctype>
#include <fstream>
#include <sstream>

namespace OHOS::NavigationInfoService {
namespace {

// A Cyclone configuration larger than this is not one the daemon looks into.
constexpr std::streamsize MAX_CONFIG_BYTES = 1 << 20;

std::string Trim(const std::string& text)
{
    size_t begin = text.find_first_not_of(" \t\r\n");
    size_t end = text.find_last_not_of(" \t\r\n");
    return begin == std::string::npos ? std::string() : text.substr(begin, end - begin + 1);
}

std::string ReadConfigFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text(static_cast<size_t>(MAX_CONFIG_BYTES), '\0');
    in.read(text.data(), MAX_CONFIG_BYTES);
    text.resize(in ? static_cast<size_t>(MAX_CONFIG_BYTES) : static_cast<size_t>(in.gcount()));
    return text;
}

// An opening tag named Security (Cyclone's element names ignore case),
// outside comments.
bool HasSecurityElement(const std::string& xml)
{
    static const std::string name = "security";
    size_t at = 0;
    while ((at = xml.find('<', at)) != std::string::npos) {
        if (xml.compare(at, 4, "<!--") == 0) {
            size_t end = xml.find("-->", at + 4);
            if (end == std::string::npos) {
                return false;
            }
            at = end + 3;
            continue;
        }
        ++at;
        if (xml.size() - at < name.size()) {
            return false;
        }
        bool same = true;
        for (size_t i = 0; i < name.size() && same; ++i) {
            same = std::tolower(static_cast<unsigned char>(xml[at + i])) == name[i];
        }
        size_t after = at + name.size();
        if (same &&
            (after == xml.size() || xml[after] == '>' || xml[after] == '/' ||
                std::isspace(static_cast<unsigned char>(xml[after])))) {
            return true;
        }
    }
    return false;
}

} // namespace

bool CycloneConfigHasSecurity(const char* uri)
{
    if (uri == nullptr) {
        return false;
    }
    std::stringstream parts(uri);
    std::string part;
    while (std::getline(parts, part, ',')) {
        part = Trim(part);
        if (part.empty()) {
            continue;
        }
        if (part[0] == '<') {
            if (HasSecurityElement(part)) {
                return true;
            }
            continue;
        }
        static const std::string scheme = "file://";
        std::string path = part.compare(0, scheme.size(), scheme) == 0 ? part.substr(scheme.size()) : part;
        if (HasSecurityElement(ReadConfigFile(path))) {
            return true;
        }
    }
    return false;
}

} // namespace OHOS::NavigationInfoService
