#include "daemons/grpownerd/trace_service.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "daemons/common/json_line.h"
#include "daemons/grpownerd/trace_lines.h"
#include "platform/linux/host.h"

namespace GrpOwnerDaemon {

namespace {

constexpr size_t kLongestRequest = 4096;  // bytes
constexpr timeval kPatience{10, 0};       // with who connects and says nothing

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

std::optional<Wish> ReadWish(const std::string& text) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const nlohmann::json from = json.value("from", nlohmann::json(0));
    const nlohmann::json follow = json.value("follow", nlohmann::json(false));
    if (!from.is_number_integer() || !follow.is_boolean()) {
        return std::nullopt;
    }
    return Wish{from.get<int64_t>(), follow.get<bool>()};
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
            .Text("text", R"(this is no request; write {"from":0,"follow":true} and a line feed)");
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
