#include "client/event_reader.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "client/connection.h"
#include "client/event_memory.h"
#include "client/owned_descriptor.h"
#include "platform/linux/queue_frame.h"

namespace GrpOwnerClient {

namespace {

using GrpOwnerLinux::kMaxQueueReason;
using GrpOwnerLinux::kQueueMagic;
using GrpOwnerLinux::QueueEvent;
using GrpOwnerLinux::QueueGreeting;
using GrpOwnerLinux::QueueReturn;
using std::chrono::milliseconds;
using Bytes = std::vector<uint8_t>;

// A service that lives takes returns at once.
constexpr milliseconds kReturnLimit{5000};

Error Malformed(const std::string& what) {
    return {ErrorKind::kMalformed, what + "; is the owner of another version?", EPROTO};
}

// What the connection calls an answer is an event here.
Error InWordsOfEvents(Error error, const std::string& what, milliseconds timeout) {
    if (error.kind == ErrorKind::kTimeout) {
        error.message = what + " within " + std::to_string(timeout.count()) + " ms";
    } else if (error.kind == ErrorKind::kInterrupted) {
        error.message = "given up while waiting for an event";
    }
    return error;
}

template <typename Header>
bool ReadHeader(const Bytes& packet, Header& header) {
    if (packet.size() < sizeof(header)) {
        return false;
    }
    std::memcpy(&header, packet.data(), sizeof(header));
    return header.magic == kQueueMagic;
}

std::optional<Error> ReadGreeting(const Bytes& packet) {
    QueueGreeting greeting;
    if (!ReadHeader(packet, greeting) || greeting.length != packet.size() - sizeof(greeting)) {
        return Malformed("the owner's greeting cannot be read");
    }
    if (greeting.code >= 0) {
        return std::nullopt;
    }
    std::string reason(packet.begin() + sizeof(greeting), packet.end());
    if (reason.empty()) {
        reason = "the owner has refused without a reason, code " + std::to_string(greeting.code);
    }
    const bool isByRights = greeting.code == -EACCES;
    return Error{isByRights ? ErrorKind::kNotAllowed : ErrorKind::kRefused, reason, greeting.code};
}

}  // namespace

/// The connection, and the memory that came with it. Once something is wrong with them, that is the
/// answer to every further call.
class EventReader::Body {
public:
    explicit Body(Connection connection) : connection_(std::move(connection)) {}

    Result<std::string> Next(milliseconds timeout, int interruptFd) {
        if (broken_) {
            return *broken_;
        }
        OwnedDescriptor descriptor;
        auto packet = connection_.Receive(sizeof(QueueEvent), {timeout, interruptFd}, &descriptor);
        if (!packet) {
            const Error error = InWordsOfEvents(packet.GetError(), "no event", timeout);
            const bool isPatienceOver =
                error.kind == ErrorKind::kTimeout || error.kind == ErrorKind::kInterrupted;
            return isPatienceOver ? error : Break(error);
        }
        QueueEvent event;
        if (packet->size() != sizeof(event) || !ReadHeader(*packet, event)) {
            return Break(Malformed("the owner has sent " + std::to_string(packet->size()) +
                                   " bytes that are no event"));
        }
        return Take(event, descriptor);
    }

private:
    Result<std::string> Take(const QueueEvent& event, const OwnedDescriptor& descriptor) {
        if (event.sequence != lastSequence_ + 1) {
            return Break(Malformed("after event " + std::to_string(lastSequence_) + " comes " +
                                   std::to_string(event.sequence)));
        }
        if (descriptor.Get() >= 0) {
            memory_ = EventMemory::Map(descriptor);
        }
        if (!memory_) {
            return Break(Malformed("the owner gives no memory that events can be read from"));
        }
        auto bytes = memory_->Read(event.offset, event.length);
        if (!bytes) {
            return Break(Malformed("event " + std::to_string(event.sequence) +
                                   " lies outside of the memory of events"));
        }
        lastSequence_ = event.sequence;
        GiveBack(event.sequence);
        return std::move(*bytes);
    }

    // The event is read: what goes wrong here is told with the next one.
    void GiveBack(uint64_t sequence) {
        QueueReturn done;
        done.sequence = sequence;
        if (auto error = connection_.Send(&done, sizeof(done), {}, {kReturnLimit, -1})) {
            (void)Break(
                InWordsOfEvents(*error, "the owner has not taken an event back", kReturnLimit));
        }
    }

    const Error& Break(const Error& error) {
        connection_.Close();
        broken_ = error;
        return *broken_;
    }

    Connection connection_;
    std::optional<EventMemory> memory_;
    uint64_t lastSequence_ = 0;
    std::optional<Error> broken_;
};

EventReader::EventReader() = default;
EventReader::~EventReader() = default;
EventReader::EventReader(EventReader&&) noexcept = default;
EventReader& EventReader::operator=(EventReader&&) noexcept = default;

Result<EventReader> EventReader::Open(const std::string& path, milliseconds timeout) {
    const Patience patience{timeout, -1};
    auto connection = Connection::Open(path, timeout);
    if (!connection) {
        return connection.GetError();
    }
    const auto greeting = connection->Receive(sizeof(QueueGreeting) + kMaxQueueReason, patience);
    if (!greeting) {
        return InWordsOfEvents(greeting.GetError(), "no greeting on " + path, timeout);
    }
    if (auto error = ReadGreeting(*greeting)) {
        return *error;
    }
    EventReader reader;
    reader.body_ = std::make_unique<Body>(std::move(*connection));
    return reader;
}

Result<std::string> EventReader::Next(milliseconds timeout, int interruptFd) {
    if (body_ == nullptr) {
        return Error{ErrorKind::kUsage, "the reader is not open", EBADF};
    }
    return body_->Next(timeout, interruptFd);
}

}  // namespace GrpOwnerClient
