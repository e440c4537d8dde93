// What the navigation information service holds at one moment, for system
// applications that inspect it (the `navinfo clients` / `navinfo dump`
// command line): the connected clients, who follows whom, which navigation
// applications serve queries and commands, the latest records, and the
// requests waiting for an answer. A plain value, copied freely.
#ifndef PROTOCOL_SERVICE_SNAPSHOT_H
#define PROTOCOL_SERVICE_SNAPSHOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService {

struct ServiceSnapshot {
    // One client connection (with the embedded service: this process).
    struct Client {
        uint64_t clientId = 0;
        std::string bundleName; // the identity it was accepted as
        int32_t pid = 0;
        int32_t uid = 0;
    };
    enum FollowKind : int32_t { FOLLOW_STATUS = 0, FOLLOW_METADATA = 1 };
    // A status or metadata listener of a client for a bundle.
    struct Follow {
        uint64_t clientId = 0;
        std::string bundleName;
        int32_t kind = FOLLOW_STATUS;
    };
    // A navigation application's system navigation listener.
    struct Server {
        std::string bundleName;
        uint64_t clientId = 0;
    };
    enum RequestKind : int32_t { REQUEST_QUERY = 0, REQUEST_COMMAND = 1 };
    // A query or command waiting for its answer.
    struct Request {
        uint64_t requestId = 0;
        uint64_t requesterClientId = 0;
        std::string bundleName; // the navigation application asked
        int32_t kind = REQUEST_QUERY;
        int32_t type = 0;  // QueryType or CommandType
        int64_t ageMs = 0; // since the service accepted it
    };
    struct StatusRecord {
        std::string bundleName;
        NavigationStatus status; // updateTime: when the service stored it
    };
    struct MetadataRecord {
        std::string bundleName;
        NavigationMetadata metadata;
        int64_t updateTime = 0; // ms since the epoch
    };

    // A bundle's owner (the connection that publishes and serves for it),
    // or a connection refused for it while the owner is live.
    struct Owner {
        std::string bundleName;
        uint64_t clientId = 0;
        bool waiting = false;
    };

    int64_t takenAt = 0; // ms since the epoch
    std::vector<Client> clients;
    std::vector<Follow> follows;
    std::vector<Server> servers;
    std::vector<Request> requests;
    std::vector<StatusRecord> statuses;
    std::vector<MetadataRecord> metadata;
    std::vector<Owner> owners; // by bundle, each owner before its waiters
    // Some entries were left out: a list over MAX_SNAPSHOT_ENTRIES, or the
    // records, when the whole snapshot would not fit one reply.
    bool truncated = false;
};

// Entries of each list of a snapshot at most.
constexpr size_t MAX_SNAPSHOT_ENTRIES = 1024;

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_SERVICE_SNAPSHOT_H
