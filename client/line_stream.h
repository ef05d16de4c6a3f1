#pragma once
// Reads what an observer socket says, of a group owner or of the process manager: a line of request
// goes there, lines come back.

#include <chrono>
#include <string>
#include <string_view>

#include "client/connection.h"
#include "client/result.h"

namespace GrpOwnerClient {

/// One such connection. Its calls belong to one thread.
///
///     auto stream = LineStream::Open(path, "process manager", "owner=rover follow", 5s);
///     if (!stream) { ... stream.GetError() says what, and why, in words }
///     while (true) {
///         auto line = stream->Next(1h, interruptFd);   // without its line end
///         if (!line) { ... line.GetError().kind, see Next() }
///     }
///
/// Next(0ms) takes only what is there already: a display draws once for all that has come. The
/// lines come from another process and may hold anything but a line end.
class LineStream {
public:
    /// Longer lines are not believed.
    static constexpr size_t kLongestLine = size_t{1} << 20;

    /// Connects and sends the request; its line end is put behind it here.
    /// @param peer who listens there, for messages: "group owner"
    static Result<LineStream> Open(const std::string& path, std::string_view peer,
                                   std::string_view request, std::chrono::milliseconds timeout);

    /// Waits for the next line. By kind of error:
    ///   kTimeout      none has come; a later call goes on as if nothing had been
    ///   kInterrupted  the interrupt descriptor is readable; likewise
    ///   kUnreachable  the stream is over; with the code 0 the peer has ended it behind a whole
    ///   line kMalformed    a line is too long, or the stream ends in the middle of one
    /// @param interruptFd a descriptor that becomes readable when the caller gives up; -1: none
    Result<std::string> Next(std::chrono::milliseconds timeout, int interruptFd = -1);

    /// To wait for several streams at once; what has come already is not announced by it.
    int Descriptor() const { return connection_.Descriptor(); }

    LineStream() = default;

private:
    Result<std::string> Ended(int error);
    bool TakeLine(std::string& line);

    std::string peer_;
    Connection connection_;
    std::string received_;
    size_t begin_ = 0;    // of the next line
    size_t scanned_ = 0;  // no line end before it
};

}  // namespace GrpOwnerClient
