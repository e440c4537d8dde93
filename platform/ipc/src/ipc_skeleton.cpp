#include "ipc_skeleton.h"

#include <unistd.h>

#include "ipc_connection.h"

namespace OHOS {

namespace {

thread_local const ScopedCallingIdentity::Identity* tCurrent = nullptr;

} // namespace

ScopedCallingIdentity::ScopedCallingIdentity(pid_t pid, uid_t uid, gid_t gid, std::shared_ptr<IpcConnection> connection)
    : identity_{pid, uid, gid, std::move(connection)},
      previous_(tCurrent)
{
    tCurrent = &identity_;
}

ScopedCallingIdentity::~ScopedCallingIdentity()
{
    tCurrent = previous_;
}

pid_t IPCSkeleton::GetCallingPid()
{
    return tCurrent != nullptr ? tCurrent->pid : getpid();
}

uid_t IPCSkeleton::GetCallingUid()
{
    return tCurrent != nullptr ? tCurrent->uid : getuid();
}

gid_t IPCSkeleton::GetCallingGid()
{
    return tCurrent != nullptr ? tCurrent->gid : getgid();
}

uint64_t IPCSkeleton::GetCallingConnectionId()
{
    return tCurrent != nullptr && tCurrent->connection ? tCurrent->connection->GetId() : 0;
}

std::shared_ptr<IpcConnection> IPCSkeleton::GetCallingConnection()
{
    return tCurrent != nullptr ? tCurrent->connection : nullptr;
}

std::shared_ptr<void> IPCSkeleton::GetCallingConnectionAttribute()
{
    return tCurrent != nullptr && tCurrent->connection ? tCurrent->connection->GetAttribute() : nullptr;
}

bool IPCSkeleton::IsHandlingTransaction()
{
    return tCurrent != nullptr && tCurrent->connection != nullptr;
}

} // namespace OHOS
