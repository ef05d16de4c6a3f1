#pragma once

#include <string>
#include <utility>

namespace GrpOwnerDaemon {

/// The commands that the host gives its own owner: the library has no calls for them, so they come
/// in by its virtual file like anybody's. Each call connects anew and waits, so it belongs on a
/// thread that may. Each answers what went wrong, in words; empty: done.
class SelfCommands {
public:
    /// @param path of the owner's virtual file
    explicit SelfCommands(std::string path) : path_(std::move(path)) {}

    std::string Reload() const;
    std::string Dump() const;

    /// Stops every application, dependants first. Waits for a running change first: the owner
    /// would leave the driving applications alone during one.
    std::string StopAll() const;

private:
    const std::string path_;
};

}  // namespace GrpOwnerDaemon
