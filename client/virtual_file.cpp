#include "client/virtual_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/linux/virtual_file_frame.h"

namespace GrpOwnerClient {

namespace {

using GrpOwnerLinux::kMaxVirtualFileBuffer;
using GrpOwnerLinux::kVirtualFileMagic;
using GrpOwnerLinux::VirtualFileAnswer;
using GrpOwnerLinux::VirtualFileGreeting;
using GrpOwnerLinux::VirtualFileOutcome;
using GrpOwnerLinux::VirtualFileRequest;
using GrpOwnerLinux::VirtualFileRights;
using Bytes = std::vector<uint8_t>;

Error Malformed(const std::string& what) {
    return {ErrorKind::kMalformed, what + "; is the owner of another version?", EPROTO};
}

// Takes the header off a packet; false when the packet is none of its kind.
template <typename Header>
bool TakeHeader(Bytes& packet, Header& header) {
    if (packet.size() < sizeof(header)) {
        return false;
    }
    std::memcpy(&header, packet.data(), sizeof(header));
    if (header.magic != kVirtualFileMagic || header.length != packet.size() - sizeof(header)) {
        return false;
    }
    packet.erase(packet.begin(), packet.begin() + sizeof(header));
    return true;
}

template <typename Header>
Result<Bytes> ReceiveFrame(Connection& connection, Header& header, const Patience& patience) {
    auto packet = connection.Receive(sizeof(header) + kMaxVirtualFileBuffer, patience);
    if (packet && !TakeHeader(*packet, header)) {
        return Malformed("the owner has sent " + std::to_string(packet->size()) +
                         " bytes that nobody can read");
    }
    return packet;
}

void TakeFact(std::string_view fact, Facts& facts) {
    const size_t equals = fact.find('=');
    if (equals == std::string_view::npos) {
        return;
    }
    const std::string_view key = fact.substr(0, equals);
    const std::string value(fact.substr(equals + 1));
    if (key == "owner") {
        facts.owner = value;
    } else if (key == "pid") {
        facts.ownerPid = std::atoi(value.c_str());
    } else if (key == "configuration") {
        facts.configuration = value;
    } else if (key == "define") {
        const size_t split = value.find('=');
        if (split != std::string::npos) {
            facts.matchData[value.substr(0, split)] = value.substr(split + 1);
        }
    }
}

Facts ReadFacts(const VirtualFileGreeting& greeting, const Bytes& text) {
    Facts facts;
    facts.mayChange = greeting.rights == VirtualFileRights::kChange;
    facts.serviceTimeout = std::chrono::milliseconds(greeting.timeout);
    std::string_view rest(reinterpret_cast<const char*>(text.data()), text.size());
    for (size_t end = rest.find('\0'); end != std::string_view::npos; end = rest.find('\0')) {
        TakeFact(rest.substr(0, end), facts);
        rest.remove_prefix(end + 1);
    }
    return facts;
}

Error Refusal(const VirtualFileAnswer& answer, const Bytes& reason) {
    std::string words(reason.begin(), reason.end());
    if (words.empty()) {
        words = "the owner has refused without a reason, code " + std::to_string(answer.code);
    }
    const bool isByRights = answer.code == -EACCES;
    return {isByRights ? ErrorKind::kNotAllowed : ErrorKind::kRefused, words, answer.code};
}

// Why a greeting grants nothing.
Error AwaitRefusal(Connection& connection, const Patience& patience) {
    VirtualFileAnswer answer;
    const auto reason = ReceiveFrame(connection, answer, patience);
    return reason ? Refusal(answer, *reason) : reason.GetError();
}

}  // namespace

Result<VirtualFile> VirtualFile::Open(const std::string& path, std::chrono::milliseconds timeout) {
    const Patience patience{timeout, -1};
    auto connection = Connection::Open(path, timeout);
    if (!connection) {
        return connection.GetError();
    }
    VirtualFileGreeting greeting;
    const auto facts = ReceiveFrame(*connection, greeting, patience);
    if (!facts) {
        Error error = facts.GetError();
        if (error.kind == ErrorKind::kTimeout) {
            error.message = "the owner at " + path + " has not greeted within " +
                            std::to_string(timeout.count()) + " ms";
        }
        return error;
    }
    if (greeting.rights == VirtualFileRights::kNone) {
        return AwaitRefusal(*connection, patience);
    }
    VirtualFile file;
    file.connection_ = std::move(*connection);
    file.facts_ = ReadFacts(greeting, *facts);
    return file;
}

Result<IoctlAnswer> VirtualFile::Ioctl(uint32_t command, const std::vector<uint8_t>& buffer,
                                       std::chrono::milliseconds timeout, int interruptFd) {
    if (!connection_.IsOpen()) {
        return Error{ErrorKind::kUnreachable, "the connection to the owner is closed", EBADF};
    }
    if (buffer.size() > kMaxVirtualFileBuffer) {
        return Error{ErrorKind::kTooLarge,
                     "a command carries at most " + std::to_string(kMaxVirtualFileBuffer) +
                         " bytes, but there are " + std::to_string(buffer.size()),
                     EMSGSIZE};
    }
    VirtualFileRequest request;
    request.command = command;
    request.sequence = ++sequence_;
    request.length = static_cast<uint32_t>(buffer.size());
    auto answer = Exchange(request, buffer, Patience{timeout, interruptFd});
    if (!answer && answer.GetError().kind != ErrorKind::kNotAllowed &&
        answer.GetError().kind != ErrorKind::kRefused) {
        connection_.Close();
    }
    return answer;
}

Result<IoctlAnswer> VirtualFile::Exchange(const VirtualFileRequest& request, const Bytes& buffer,
                                          const Patience& patience) {
    if (auto error = connection_.Send(&request, sizeof(request), buffer, patience)) {
        return *error;
    }
    VirtualFileAnswer answer;
    auto bytes = ReceiveFrame(connection_, answer, patience);
    if (!bytes) {
        return bytes.GetError();
    }
    if (answer.sequence != request.sequence) {
        return Malformed("the owner has answered request " + std::to_string(answer.sequence) +
                         " instead of " + std::to_string(request.sequence));
    }
    switch (answer.outcome) {
        case VirtualFileOutcome::kRefused:
            return Refusal(answer, *bytes);
        case VirtualFileOutcome::kDone:
            if (bytes->size() == buffer.size()) {
                return IoctlAnswer{answer.code, std::move(*bytes)};
            }
            return Malformed("the owner has answered " + std::to_string(bytes->size()) +
                             " bytes to a buffer of " + std::to_string(buffer.size()));
    }
    return Malformed("the owner has answered with an unknown outcome");
}

}  // namespace GrpOwnerClient
