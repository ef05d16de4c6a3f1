#include "client/line_stream.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace GrpOwnerClient {

using std::chrono::milliseconds;

Result<LineStream> LineStream::Open(const std::string& path, std::string_view peer,
                                    std::string_view request, milliseconds timeout) {
    const Patience patience{timeout, -1};
    auto connection = Connection::Open(path, timeout, {SOCK_STREAM, peer});
    if (!connection) {
        return connection.GetError();
    }
    std::string line = std::string(request) + "\n";
    for (std::string_view rest = line; !rest.empty();) {
        const ssize_t sent =
            send(connection->Descriptor(), rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            rest.remove_prefix(static_cast<size_t>(sent));
        } else if (errno == EPIPE || errno == ECONNRESET) {
            break;  // refused at once: why stands in what can be read
        } else if (errno == EAGAIN) {
            if (auto error = connection->Await(POLLOUT, patience)) {
                error->message = "the " + std::string(peer) + " does not take the request";
                return *error;
            }
        } else if (errno != EINTR) {
            return Error{ErrorKind::kUnreachable,
                         "cannot send to " + path + ": " + std::strerror(errno), errno};
        }
    }
    LineStream stream;
    stream.peer_ = peer;
    stream.connection_ = std::move(*connection);
    return stream;
}

Result<std::string> LineStream::Next(milliseconds timeout, int interruptFd) {
    const Patience patience{timeout, interruptFd};
    std::string line;
    while (!TakeLine(line)) {
        if (received_.size() - begin_ > kLongestLine) {
            return Error{ErrorKind::kMalformed, "the " + peer_ + " has sent a line without an end",
                         EMSGSIZE};
        }
        char chunk[16 * 1024];
        const ssize_t got = recv(connection_.Descriptor(), chunk, sizeof(chunk), MSG_DONTWAIT);
        if (got > 0) {
            received_.append(chunk, static_cast<size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            return Ended(got == 0 ? 0 : errno);
        } else if (auto error = connection_.Await(POLLIN, patience)) {
            if (error->kind == ErrorKind::kTimeout) {
                error->message = "the " + peer_ + " has said nothing within " +
                                 std::to_string(timeout.count()) + " ms";
            } else if (error->kind == ErrorKind::kInterrupted) {
                error->message = "given up while waiting for the " + peer_;
            }
            return *error;
        }
    }
    return line;
}

bool LineStream::TakeLine(std::string& line) {
    const size_t end = received_.find('\n', scanned_);
    if (end == std::string::npos) {
        received_.erase(0, begin_);
        begin_ = 0;
        scanned_ = received_.size();
        return false;
    }
    line.assign(received_, begin_, end - begin_);
    begin_ = scanned_ = end + 1;
    return true;
}

Result<std::string> LineStream::Ended(int error) {
    if (!received_.empty()) {
        return Error{ErrorKind::kMalformed,
                     "the " + peer_ + " has ended the connection in the middle of a line", EPROTO};
    }
    return Error{ErrorKind::kUnreachable,
                 error == 0
                     ? "the " + peer_ + " has ended the connection"
                     : "the connection to the " + peer_ + " is broken: " + std::strerror(error),
                 error};
}

}  // namespace GrpOwnerClient
