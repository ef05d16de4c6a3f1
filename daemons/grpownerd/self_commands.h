#pragma once

#include <string>
#include <utility>

#include "client/ss_client.h"

namespace GrpOwnerDaemon {

/// Connects to the virtual file of this very process: another owner may have one of that name, and
/// must not be commanded in place of ours.
GrpOwnerClient::Result<GrpOwnerClient::SsClient> ConnectToSelf(const std::string& path);

/// The commands that the host gives its own owner: the library has no calls for them, so they come
/// in by its virtual file like anybody's. Each call connects anew and waits, so it belongs on a
/// thread that may. Each answers what went wrong, in words; empty: done.
class SelfCommands {
public:
    /// @param path of the owner's virtual file
    explicit SelfCommands(std::string path) : path_(std::move(path)) {}

    /// Whether the virtual file is there.
    std::string Check() const;

    std::string Reload() const;
    std::string Dump() const;

    /// Stops every application, dependants first. Waits for a running change first: the owner
    /// would leave the driving applications alone during one.
    std::string StopAll() const;

private:
    const std::string path_;
};

}  // namespace GrpOwnerDaemon
