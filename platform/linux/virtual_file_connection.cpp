#include "platform/linux/virtual_file_connection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/recorder.h"
#include "platform/log_service.h"

namespace GrpOwnerLinux {

namespace {

constexpr int kLogModule = 27;
constexpr int kLogInfo = 1;

void LimitSending(int socket, int32_t timeoutMs) {
    const int32_t limit = std::max(timeoutMs, 1);  // zero would mean for ever
    const timeval duration{limit / 1000, limit % 1000 * 1000};
    (void)setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &duration, sizeof(duration));
}

// Read by what a command does, on its own thread.
thread_local Requester currentRequester;

/// The file is open while this lives, if the operation lets it.
class OpenFile {
public:
    OpenFile(const IAMFileOperations& operations, IAMMgrFile& file)
        : operations_(operations), file_(file), code_(Open()) {}
    ~OpenFile() {
        if (code_ >= 0 && operations_.close != nullptr) {
            const auto record = RecordIn("close-file", [](auto& /*fields*/) {});
            (void)operations_.close(&file_);  // the client is gone already
            record.End([](auto& /*fields*/) {});
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int Code() const { return code_; }

private:
    int Open() {
        const auto record = RecordIn("open-file", [this](auto& fields) { fields(file_.name); });
        return record.Result(operations_.open == nullptr ? 0 : operations_.open(&file_));
    }

    const IAMFileOperations& operations_;
    IAMMgrFile& file_;
    const int code_;
};

}  // namespace

Requester CurrentRequester() {
    return currentRequester;
}

VirtualFileConnection::VirtualFileConnection(int socket, const OfferedFile& file)
    : socket_(socket), file_(file), peer_(ReadPeerCredentials(socket)) {
    LimitSending(socket, file.timeoutMs);
    if (peer_) {
        rights_ = RightsOf(*peer_, file.ownUser, file.options.changeGroup);
    }
}

VirtualFileConnection::~VirtualFileConnection() {
    (void)close(socket_);  // nothing is buffered that could be lost
}

bool VirtualFileConnection::IsOwn() const {
    return peer_ && peer_->process == getpid();
}

// Within the socket's time-out; false when nobody takes it.
template <typename Header>
bool VirtualFileConnection::Send(Header header, const void* bytes, size_t length) const {
    header.length = static_cast<uint32_t>(length);
    iovec parts[] = {{&header, sizeof(header)}, {const_cast<void*>(bytes), length}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = length > 0 ? 2 : 1;
    ssize_t sent = 0;
    do {
        sent = sendmsg(socket_, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0 && errno == EAGAIN && CheckLogLevel(kLogModule, kLogInfo) == 1) {
        DlogInner(kLogModule, kLogInfo, "%s lets a client go that takes no answer within %d ms",
                  file_.name.c_str(), file_.timeoutMs);
    }
    return sent >= 0;
}

void VirtualFileConnection::Serve() {
    if (!peer_) {
        Refuse(-EACCES, "the system does not tell who connects");
        return;
    }
    packet_.resize(sizeof(VirtualFileRequest) + kMaxVirtualFileBuffer);
    const ThreadRole role(ThreadRole::Numbered("ss"));
    IAMMgrFile file{file_.name.c_str()};
    const OpenFile open(*file_.operations, file);
    if (open.Code() < 0) {
        Refuse(open.Code(), file_.name + " cannot be opened, code " + std::to_string(open.Code()));
        return;
    }
    if (Greet(rights_, file_.facts)) {
        while (ServeRequest(file)) {
        }
    }
    // Whoever still waits at the other end learns at once, and not behind a close that takes long.
    (void)shutdown(socket_, SHUT_RDWR);
}

void VirtualFileConnection::Refuse(int32_t code, std::string_view reason) {
    if (Greet(VirtualFileRights::kNone, {})) {
        (void)AnswerRefusal(0, code, reason);  // the end of the connection says the rest
    }
}

bool VirtualFileConnection::Greet(VirtualFileRights rights, std::string_view facts) {
    VirtualFileGreeting greeting;
    greeting.rights = rights;
    greeting.timeout = file_.timeoutMs;
    return Send(greeting, facts.data(), facts.size());
}

bool VirtualFileConnection::AnswerRefusal(uint32_t sequence, int32_t code,
                                          std::string_view reason) {
    VirtualFileAnswer answer;
    answer.sequence = sequence;
    answer.outcome = VirtualFileOutcome::kRefused;
    answer.code = code;
    if (CheckLogLevel(kLogModule, kLogInfo) == 1) {
        DlogInner(kLogModule, kLogInfo, "%s refuses with %d: %.*s", file_.name.c_str(), code,
                  static_cast<int>(reason.size()), reason.data());
    }
    return Send(answer, reason.data(), reason.size());
}

// False when the connection is over.
bool VirtualFileConnection::ServeRequest(IAMMgrFile& file) {
    const ssize_t received = recv(socket_, packet_.data(), packet_.size(), MSG_TRUNC);
    if (received < 0 && errno == EINTR) {
        return true;
    }
    return received > 0 && Handle(file, static_cast<size_t>(received));
}

// Refused frames do not end the connection: packets have ends of their own, so the next one can be
// read whatever this one was.
bool VirtualFileConnection::Handle(IAMMgrFile& file, size_t received) {
    VirtualFileRequest request;
    if (received >= sizeof(request)) {
        std::memcpy(&request, packet_.data(), sizeof(request));
    }
    if (received < sizeof(request) || request.magic != kVirtualFileMagic) {
        return AnswerRefusal(0, -EBADMSG, "this is no request: is the client of another version?");
    }
    const size_t length = received - sizeof(request);
    if (length > kMaxVirtualFileBuffer) {
        return AnswerRefusal(request.sequence, -EMSGSIZE,
                             "a command carries at most " + std::to_string(kMaxVirtualFileBuffer) +
                                 " bytes, but there are " + std::to_string(length));
    }
    if (request.length != length) {
        return AnswerRefusal(request.sequence, -EBADMSG,
                             "the request tells of " + std::to_string(request.length) +
                                 " bytes, but there are " + std::to_string(length));
    }
    if (!MayGive(rights_, request.command, file_.options.openCommands)) {
        return AnswerRefusal(request.sequence, -EACCES,
                             ExplainMissingRights(*peer_, request.command, file_.ownUser,
                                                  file_.options.changeGroup));
    }
    return Call(file, request);
}

bool VirtualFileConnection::Call(IAMMgrFile& file, const VirtualFileRequest& request) {
    if (file_.operations->ioctl == nullptr) {
        return AnswerRefusal(request.sequence, -ENOTTY, file_.name + " takes no commands");
    }
    // Of exactly the client's length, so that what reaches beyond it does not go unseen.
    const auto begin = packet_.begin() + sizeof(request);
    std::vector<uint8_t> buffer(begin, begin + request.length);
    IAMIoctlArg argument{buffer.size(), buffer.empty() ? nullptr : buffer.data()};
    VirtualFileAnswer answer;
    answer.sequence = request.sequence;
    const auto record = RecordIn("command", [&](auto& fields) {
        fields(request.command).Bytes(buffer.data(), buffer.size());
    });
    currentRequester = {peer_->user, peer_->process};
    answer.code = file_.operations->ioctl(&file, request.command, &argument);
    currentRequester = {};
    record.End([&](auto& fields) { fields(answer.code).Bytes(buffer.data(), buffer.size()); });
    return Send(answer, buffer.data(), buffer.size());
}

}  // namespace GrpOwnerLinux
