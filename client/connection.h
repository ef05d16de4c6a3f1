#pragma once
// What the kinds of connections to an owner have in common: a socket of packets on which every wait
// ends at a deadline or with the caller's patience.

#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/owned_descriptor.h"
#include "client/result.h"

namespace GrpOwnerClient {

/// When a wait is to end.
struct Patience {
    std::chrono::milliseconds timeout;
    int interruptFd;  // readable when the caller gives up; -1: never
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::now() + timeout;
};

/// What listens at a socket.
struct Listener {
    int type = SOCK_SEQPACKET;
    std::string_view name = "owner";  // for messages
};

/// A connected socket. Its calls belong to one thread.
class Connection {
public:
    static Result<Connection> Open(const std::string& path, std::chrono::milliseconds timeout,
                                   const Listener& listener = {});

    Connection() = default;
    ~Connection() { Close(); }
    Connection(Connection&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Connection& operator=(Connection&& other) noexcept;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Descriptor() const { return fd_; }
    void Close();

    /// Sends one packet of two pieces, whole or not at all.
    std::optional<Error> Send(const void* head, size_t headSize, const std::vector<uint8_t>& body,
                              const Patience& patience);

    /// Waits for one packet. The end of the connection is kUnreachable, a packet of more than
    /// `limit` bytes kMalformed.
    /// @param descriptor filled in with the one that comes with the packet; none is taken without
    Result<std::vector<uint8_t>> Receive(size_t limit, const Patience& patience,
                                         OwnedDescriptor* descriptor = nullptr);

    /// Waits until the socket is ready for these events of poll.
    std::optional<Error> Await(short events, const Patience& patience) const;

private:
    explicit Connection(int fd) : fd_(fd) {}

    int fd_ = -1;
};

}  // namespace GrpOwnerClient
