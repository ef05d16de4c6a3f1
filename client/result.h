#pragma once
// How the calls of this library end: with a value or with an error that says what to do.

#include <string>
#include <utility>

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

}  // namespace GrpOwnerClient
