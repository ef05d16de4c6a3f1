#include "tests/unit/procmgrd/owner.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <stdexcept>

namespace ProcMgrTest {

namespace {

constexpr int kPatienceMs = 30'000;

template <typename Value>
std::string Raw(const Value& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

template <typename Value>
Value At(const std::string& bytes, size_t offset) {
    Value value;
    if (bytes.size() < offset + sizeof(value)) {
        throw std::runtime_error("cut short");
    }
    std::memcpy(&value, &bytes[offset], sizeof(value));
    return value;
}

}  // namespace

std::string Fields(const Names& fields) {
    std::string text;
    for (const std::string& field : fields) {
        text += field + "#";
    }
    return text;
}

std::string Launches(const Names& names) {
    std::string text = std::to_string(names.size()) + "#";
    for (const std::string& name : names) {
        text += name + "#0#0#";
    }
    return text;
}

std::string RecordBytes(RecordType type, const std::string& payload) {
    std::string bytes = Raw(type) + Raw(uint32_t{0}) + Raw(uint64_t{payload.size()}) + payload;
    bytes.resize(3984);
    return bytes;
}

Owner::Owner(const std::string& runDirectory, Silent)
    : socket_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, (runDirectory + "/PROCMGR.pipe").c_str(),
            sizeof(address.sun_path) - 1);
    const timeval patience{kPatienceMs / 1000, 0};
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(socket_);
        throw std::runtime_error("cannot connect");
    }
}

Owner::Owner(const std::string& runDirectory, const std::string& name)
    : Owner(runDirectory, Silent{}) {
    SendFrame(PipeFrameKind::kHello, 0,
              Raw(uint32_t{getgid()}) + Raw(static_cast<uint32_t>(name.size())) + name);
    Frame frame;
    if (!Receive(frame) || frame.kind != PipeFrameKind::kWelcome) {
        throw std::runtime_error("no welcome");
    }
    welcome_ = At<int32_t>(frame.payload, 0);
}

void Owner::HangUp() {
    if (socket_ >= 0) {
        close(socket_);
    }
    socket_ = -1;
}

void Owner::Send(RecordType type, const std::string& payload) {
    SendFrame(PipeFrameKind::kRequest, 0, RecordBytes(type, payload));
}

void Owner::SendFrame(PipeFrameKind kind, uint64_t sequence, const std::string& payload) {
    SendRaw(
        Raw(GrpOwnerLinux::PipeFrameHeader{GrpOwnerLinux::kPipeMagic, static_cast<uint32_t>(kind),
                                           sequence, static_cast<uint32_t>(payload.size()), 0}) +
        payload);
}

void Owner::SendRaw(const std::string& packet) {
    if (send(socket_, packet.data(), packet.size(), MSG_NOSIGNAL) < 0) {
        throw std::runtime_error("cannot send");
    }
}

bool Owner::Receive(Frame& frame) {
    char packet[16 * 1024];
    pollfd ready{socket_, POLLIN, 0};
    if (poll(&ready, 1, kPatienceMs) != 1) {
        throw std::runtime_error("no frame comes");
    }
    const ssize_t count = recv(socket_, packet, sizeof(packet), 0);
    if (count <= 0) {
        return false;
    }
    const std::string bytes(packet, static_cast<size_t>(count));
    const auto header = At<GrpOwnerLinux::PipeFrameHeader>(bytes, 0);
    if (header.magic != GrpOwnerLinux::kPipeMagic || bytes.size() != sizeof(header) + header.size) {
        throw std::runtime_error("not a frame");
    }
    frame = {static_cast<PipeFrameKind>(header.kind), bytes.substr(sizeof(header))};
    return true;
}

// An answer to a call or to a query, or reports.
void Owner::TakeNext() {
    Frame frame;
    if (!Receive(frame)) {
        throw std::runtime_error("hung up");
    }
    if (frame.kind == PipeFrameKind::kAnswer) {
        answer_ = frame.payload;
        return;
    }
    const std::string payload = frame.payload.substr(16, At<uint64_t>(frame.payload, 8));
    if (At<RecordType>(frame.payload, 0) == RecordType::kQueryAnswer) {
        state_ = At<uint32_t>(payload, 8 + At<uint32_t>(payload, 4));
        return;
    }
    std::istringstream text(payload);
    const auto number = [&text] {
        std::string field;
        std::getline(text, field, '#');
        return static_cast<uint32_t>(std::stoul(field));
    };
    lastBatch_ = number();
    for (size_t left = lastBatch_; left > 0; --left) {
        Report report;
        std::getline(text, report.name, '#');
        report.pid = number();
        report.kind = static_cast<Kind>(number());
        report.reason = number();
        if (number() != 0) {
            throw std::runtime_error("the spare number is used");
        }
        told_.push_back(report);
    }
}

std::string Owner::Call(RecordType type, const std::string& payload) {
    SendFrame(PipeFrameKind::kCall, 7, RecordBytes(type, payload));
    for (answer_.reset(); !answer_;) {
        TakeNext();
    }
    return *answer_;
}

Report Owner::Next() {
    while (told_.empty()) {
        TakeNext();
    }
    const Report report = told_.front();
    told_.pop_front();
    return report;
}

uint32_t Owner::StateOf(const std::string& name) {
    Send(RecordType::kQuery, Raw(uint32_t{1}) + Raw(static_cast<uint32_t>(name.size())) + name);
    for (state_.reset(); !state_;) {
        TakeNext();
    }
    return *state_;
}

bool Owner::NothingMore() {
    (void)StateOf("x");  // only the answer is awaited
    return told_.empty();
}

void Owner::AwaitHangUp() {
    for (Frame frame; Receive(frame);) {
    }
}

}  // namespace ProcMgrTest
