#include "parent_watch.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace OHOS::NavigationInfoService {

bool EndWithParent(pid_t parentAtStart)
{
    if (prctl(PR_SET_PDEATHSIG, SIGTERM) != 0) {
        return false;
    }
    // A parent that ended before the request above sends nothing: the
    // daemon then has another parent already.
    return getppid() == parentAtStart;
}

} // namespace OHOS::NavigationInfoService
