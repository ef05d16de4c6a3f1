#pragma once
// A client's open virtual file.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace GrpOwnerClient {

/// What went wrong with a request, apart from what the owner answers.
enum class ErrorKind {
    kUnreachable,  // nobody listens, or the connection ended
    kNotAllowed,   // refused by credentials
    kTimeout,      // no answer in time; the owner may still carry the request out
    kRefused,      // refused by the service or the operation's own code is negative
    kMalformed,    // an answer that nobody can read
    kTooLarge,     // the request does not fit a record; nothing was sent
    kInterrupted,  // by the caller's interrupt descriptor
    kUsage,        // an argument that cannot be sent, such as a name with a '#'
};

struct Error {
    ErrorKind kind = ErrorKind::kUnreachable;
    std::string message;  // what and why, in words; no trailing full stop
    int code = 0;         // errno (positive) or the operation's code (negative), when there is one
};

/// A value or an error.
template <typename Value>
class Result {
public:
    Result(Value value) : value_(std::move(value)), isOk_(true) {}  // NOLINT: meant to convert
    Result(Error error) : error_(std::move(error)) {}               // NOLINT: meant to convert

    bool Ok() const { return isOk_; }
    explicit operator bool() const { return isOk_; }
    /// Only when Ok().
    const Value& operator*() const { return value_; }
    const Value* operator->() const { return &value_; }
    Value& operator*() { return value_; }
    Value* operator->() { return &value_; }
    /// Only when not Ok().
    const Error& GetError() const { return error_; }

private:
    Value value_{};
    Error error_;
    bool isOk_ = false;
};

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

    VirtualFile() = default;
    ~VirtualFile();
    VirtualFile(VirtualFile&& other) noexcept;
    VirtualFile& operator=(VirtualFile&& other) noexcept;
    VirtualFile(const VirtualFile&) = delete;
    VirtualFile& operator=(const VirtualFile&) = delete;

    const Facts& GetFacts() const { return facts_; }

    /// Sends one command and waits for its answer. After a time-out or an interruption the
    /// connection is closed: the late answer must not be taken for the next one's.
    /// @param interruptFd a descriptor that becomes readable when the caller gives up; -1: none
    Result<IoctlAnswer> Ioctl(uint32_t command, const std::vector<uint8_t>& buffer,
                              std::chrono::milliseconds timeout, int interruptFd = -1);

private:
    int fd_ = -1;
    uint32_t sequence_ = 0;
    Facts facts_;
};

}  // namespace GrpOwnerClient
