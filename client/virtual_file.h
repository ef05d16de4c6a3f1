#pragma once
// A client's open virtual file.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "client/connection.h"
#include "client/result.h"

namespace GrpOwnerLinux {
struct VirtualFileRequest;
}

namespace GrpOwnerClient {

/// What the greeting tells.
struct Facts {
    bool mayChange = false;
    std::chrono::milliseconds serviceTimeout{0};
    std::string owner;
    int ownerPid = 0;
    std::string configuration;  // path of the start configuration
    std::map<std::string, std::string> matchData;
};

struct IoctlAnswer {
    int code = 0;                 // the operation's
    std::vector<uint8_t> buffer;  // as the operation left it
};

/// One connection. Its calls belong to one thread; several connections work side by side.
class VirtualFile {
public:
    /// Connects and reads the greeting.
    /// @param path of the socket
    static Result<VirtualFile> Open(const std::string& path, std::chrono::milliseconds timeout);

    const Facts& GetFacts() const { return facts_; }

    /// Sends one command and waits for its answer. After a time-out or an interruption the
    /// connection is closed: the late answer must not be taken for the next one's.
    /// @param interruptFd a descriptor that becomes readable when the caller gives up; -1: none
    Result<IoctlAnswer> Ioctl(uint32_t command, const std::vector<uint8_t>& buffer,
                              std::chrono::milliseconds timeout, int interruptFd = -1);

private:
    Result<IoctlAnswer> Exchange(const GrpOwnerLinux::VirtualFileRequest& request,
                                 const std::vector<uint8_t>& buffer, const Patience& patience);

    Connection connection_;
    uint32_t sequence_ = 0;
    Facts facts_;
};

}  // namespace GrpOwnerClient
