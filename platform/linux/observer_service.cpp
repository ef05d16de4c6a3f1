// Streams for observers: whoever connects is served on a thread of its own.

#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/linux/connection_server.h"
#include "platform/linux/host.h"

namespace GrpOwnerLinux {

namespace {

/// An observer and its socket.
class Observer : public ServedConnection {
public:
    /// Takes the socket over.
    Observer(int socket, const std::function<void(int)>& serve) : socket_(socket), serve_(serve) {}
    ~Observer() override {
        (void)close(socket_);  // nothing is buffered that could be lost
    }
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

    // Whoever only looks may not keep out anybody who looks as well.
    VirtualFileRights Rights() const override { return VirtualFileRights::kQuery; }
    bool IsOwn() const override { return false; }
    void Serve() override { serve_(socket_); }

    void Refuse(int32_t /*code*/, std::string_view reason) override {
        const std::string line = "{\"kind\":\"error\",\"text\":\"" + std::string(reason) + "\"}\n";
        (void)send(socket_, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }

private:
    const int socket_;
    const std::function<void(int)>& serve_;  // kept by the server, for good
};

}  // namespace

int OfferStream(const std::string& path, std::function<void(int socket)> serve,
                std::string& reason) {
    const auto kept = std::make_shared<const std::function<void(int)>>(std::move(serve));
    auto server = std::make_unique<ConnectionServer>(
        "observers", [kept](int socket) { return std::make_shared<Observer>(socket, *kept); },
        SOCK_STREAM);
    return ConnectionServer::Offer(std::move(server), path, reason);
}

}  // namespace GrpOwnerLinux
