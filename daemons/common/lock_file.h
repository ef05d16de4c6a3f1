#pragma once

#include <string>

#include "daemons/common/unique_fd.h"

namespace Daemons {

/// Holds a lock file for as long as it lives, and removes it then. Only who holds the lock of a
/// socket may remove what a dead process left behind.
class LockFile {
public:
    /// @param whenHeld what to say when another process holds it
    /// @throw std::runtime_error
    LockFile(std::string path, const std::string& whenHeld);
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

private:
    const std::string path_;
    UniqueFd file_;
};

}  // namespace Daemons
