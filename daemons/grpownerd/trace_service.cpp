#include "daemons/grpownerd/trace_service.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "daemons/common/json_line.h"
#include "daemons/grpownerd/trace_lines.h"
#include "platform/linux/host.h"

namespace GrpOwnerDaemon {

namespace {

constexpr size_t kLongestRequest = 4096;  // bytes
constexpr timeval kPatience{10, 0};       // with who connects and says nothing

constexpr int64_t kFromNow = -1;

struct Wish {
    int64_t from = 0;
    bool isFollowing = false;
};

bool Send(int socket, std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(sent < 0 ? 0 : static_cast<size_t>(sent));
    }
    return true;
}

/// Up to the end of the line; nothing when there is none.
std::optional<std::string> ReadLine(int socket) {
    (void)setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof(kPatience));
    std::string text;
    char bytes[512];
    while (text.size() < kLongestRequest) {
        const ssize_t length = recv(socket, bytes, sizeof(bytes), 0);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return std::nullopt;
        }
        text.append(bytes, static_cast<size_t>(length));
        if (const size_t end = text.find('\n'); end != std::string::npos) {
            return text.substr(0, end);
        }
    }
    return std::nullopt;
}

bool ReadWord(std::string_view word, Wish& wish) {
    constexpr std::string_view kFrom = "from=";
    if (word == "follow") {
        wish.isFollowing = true;
        return true;
    }
    if (word.substr(0, kFrom.size()) != kFrom) {
        return false;
    }
    word.remove_prefix(kFrom.size());
    if (word == "now") {
        wish.from = kFromNow;
        return true;
    }
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, wish.from);
    return error == std::errc() && rest == end && wish.from >= 0;
}

std::optional<Wish> ReadWish(std::string_view line) {
    Wish wish;
    while (!line.empty()) {
        const std::string_view word = line.substr(0, line.find(' '));
        line.remove_prefix(std::min(word.size() + 1, line.size()));
        if (!word.empty() && !ReadWord(word, wish)) {
            return std::nullopt;
        }
    }
    return wish;
}

bool HasGone(int socket) {
    pollfd watched{socket, POLLRDHUP, 0};
    return poll(&watched, 1, 0) > 0;
}

void Serve(int socket, const std::string& owner) {
    const std::optional<std::string> text = ReadLine(socket);
    if (!text) {
        return;
    }
    const std::optional<Wish> wish = ReadWish(*text);
    if (!wish) {
        std::string line;
        Daemons::JsonLine(line)
            .Text("kind", "error")
            .Text("text",
                  "this is no request; it takes from=NUMBER or from=now, and follow, in one line");
        (void)Send(socket, line);
        return;
    }
    TraceLines lines;
    if (!Send(socket, lines.Begin(owner, wish->from))) {
        return;
    }
    do {
        for (std::string next = lines.Next(); !next.empty(); next = lines.Next()) {
            if (!Send(socket, next)) {
                return;
            }
        }
        if (!wish->isFollowing) {
            (void)Send(socket, lines.End());
            return;
        }
    } while (lines.Wait() || !HasGone(socket));
}

}  // namespace

std::string OfferTrace(const std::string& runDirectory, const std::string& owner) {
    std::string reason;
    const int result = GrpOwnerLinux::OfferStream(
        runDirectory + "/" + owner + ".trace", [owner](int socket) { Serve(socket, owner); },
        reason);
    return result < 0 ? reason : std::string();
}

}  // namespace GrpOwnerDaemon
