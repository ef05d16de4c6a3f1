#pragma once
// A reader of a queue of system events.

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "client/virtual_file.h"

namespace GrpOwnerClient {

/// One reader. Its calls belong to one thread.
class EventReader {
public:
    /// @param path of the queue's socket
    static Result<EventReader> Open(const std::string& path, std::chrono::milliseconds timeout);

    EventReader();
    ~EventReader();
    EventReader(EventReader&&) noexcept;
    EventReader& operator=(EventReader&&) noexcept;

    /// Waits for the next event and gives its block back to the pool.
    /// @param interruptFd a descriptor that becomes readable when the caller gives up; -1: none
    /// @return the block's bytes
    Result<std::string> Next(std::chrono::milliseconds timeout, int interruptFd = -1);

private:
    class Body;
    std::unique_ptr<Body> body_;
};

}  // namespace GrpOwnerClient
