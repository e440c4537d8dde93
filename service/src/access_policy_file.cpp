// Reads the policy file: only a regular file, at most MAX_POLICY_FILE_BYTES,
// so that a FIFO cannot block the start, a device cannot feed endless bytes
// and a huge file cannot take the memory. The text goes to ParseAccessPolicy.
#include "access_policy_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "errno_text.h"
#include "service_log.h"

namespace OHOS::NavigationInfoService {
namespace {

PolicyLoadResult Failure(const std::string& path, const std::string& reason)
{
    PolicyLoadResult result;
    result.policy = RuleAccessPolicy::DenyAll();
    result.error = path + ": " + reason;
    return result;
}

class FdCloser {
public:
    explicit FdCloser(int fd) : fd_(fd) {}
    ~FdCloser() { close(fd_); }
    FdCloser(const FdCloser&) = delete;
    FdCloser& operator=(const FdCloser&) = delete;

private:
    const int fd_;
};

std::string TooLarge()
{
    return "larger than " + std::to_string(MAX_POLICY_FILE_BYTES) + " bytes";
}

// The whole text of a regular file of at most MAX_POLICY_FILE_BYTES; false
// with a reason otherwise.
bool ReadPolicyText(const std::string& path, std::string& text, std::string& reason)
{
    // Non-blocking, so that opening a FIFO returns at once and is then refused.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        reason = std::string("cannot open: ") + ErrnoText(errno);
        return false;
    }
    FdCloser closer(fd);
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        reason = std::string("cannot read: ") + ErrnoText(errno);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        reason = "not a regular file";
        return false;
    }
    if (st.st_size < 0 || static_cast<unsigned long long>(st.st_size) > MAX_POLICY_FILE_BYTES) {
        reason = TooLarge();
        return false;
    }
    // The file may grow while it is read: one byte more than allowed is enough to tell.
    text.resize(MAX_POLICY_FILE_BYTES + 1);
    size_t used = 0;
    while (used < text.size()) {
        ssize_t n = read(fd, &text[used], text.size() - used);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            reason = std::string("cannot read: ") + ErrnoText(errno);
            return false;
        }
        if (n == 0) {
            break;
        }
        used += static_cast<size_t>(n);
    }
    if (used > MAX_POLICY_FILE_BYTES) {
        reason = TooLarge();
        return false;
    }
    text.resize(used);
    return true;
}

} // namespace

PolicyLoadResult LoadAccessPolicyFile(const std::string& path) noexcept
{
    try {
        std::string text;
        std::string reason;
        if (!ReadPolicyText(path, text, reason)) {
            return Failure(path, reason);
        }
        PolicyLoadResult result = ParseAccessPolicy(text);
        if (!result.ok) {
            result.error = path + ": " + result.error;
        }
        return result;
    } catch (const std::exception& e) {
        return Failure(path, e.what());
    }
}

std::shared_ptr<const RuleAccessPolicy> AccessPolicyFromEnvironment() noexcept
{
    return PolicyFromEnvironment().policy;
}

PolicyLoadResult PolicyFromEnvironment() noexcept
{
    const char* path = std::getenv(POLICY_FILE_ENV);
    try {
        if (path == nullptr || *path == '\0') {
            PolicyLoadResult allowAll;
            allowAll.policy = RuleAccessPolicy::AllowAll();
            allowAll.ok = true;
            return allowAll;
        }
        PolicyLoadResult result = LoadAccessPolicyFile(path);
        if (!result.ok) {
            SERVICE_LOGE("access policy not usable, denying every caller: %{public}s", result.error.c_str());
        }
        return result;
    } catch (...) {
        SERVICE_LOGE("access policy not usable, denying every caller");
        return PolicyLoadResult{}; // a null policy: the core denies everything
    }
}

} // namespace OHOS::NavigationInfoService
