#include "tests/unit/procmgrd/owner.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace ProcMgrTest {

namespace {

constexpr int kPatienceMs = 30'000;

template <typename Integer>
std::string Raw(Integer number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

template <typename Integer>
Integer At(const std::string& bytes, size_t offset) {
    Integer number;
    std::memcpy(&number, bytes.substr(offset, sizeof(number)).data(), sizeof(number));
    return number;
}

sockaddr_un Address(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

void AwaitReadable(int fd, const char* what) {
    pollfd ready{fd, POLLIN, 0};
    if (poll(&ready, 1, kPatienceMs) != 1) {
        throw std::runtime_error(std::string("nothing comes: ") + what);
    }
}

}  // namespace

std::string Fields(const std::vector<std::string>& fields) {
    std::string text;
    for (const std::string& field : fields) {
        text += field + "#";
    }
    return text;
}

std::string Launches(const std::vector<std::string>& names) {
    std::string text = std::to_string(names.size()) + "#";
    for (const std::string& name : names) {
        text += name + "#0#0#";
    }
    return text;
}

std::string RecordBytes(uint32_t type, const std::string& payload) {
    std::string bytes = Raw(type) + Raw(uint32_t{0}) + Raw(uint64_t{payload.size()}) + payload;
    bytes.resize(3984);
    return bytes;
}

Owner::Owner(const std::string& runDirectory, Silent) {
    const sockaddr_un address = Address(runDirectory + "/PROCMGR.pipe");
    socket_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const timeval patience{kPatienceMs / 1000, 0};
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(socket_);
        throw std::runtime_error("cannot connect");
    }
}

Owner::Owner(const std::string& runDirectory, const std::string& name)
    : Owner(runDirectory, Silent{}) {
    SendFrame(1, 0, Raw(uint32_t{getgid()}) + Raw(static_cast<uint32_t>(name.size())) + name);
    Frame frame;
    if (!Receive(frame) || frame.kind != 2) {
        throw std::runtime_error("no welcome");
    }
    welcome_ = At<int32_t>(frame.payload, 0);
}

Owner::~Owner() {
    HangUp();
}

void Owner::HangUp() {
    if (socket_ >= 0) {
        close(socket_);
    }
    socket_ = -1;
}

void Owner::Send(uint32_t type, const std::string& payload) {
    SendFrame(3, 0, RecordBytes(type, payload));
}

void Owner::SendFrame(uint32_t kind, uint64_t sequence, const std::string& payload) {
    SendRaw(Raw(uint32_t{0x31504f47}) + Raw(kind) + Raw(sequence) +
            Raw(static_cast<uint32_t>(payload.size())) + Raw(uint32_t{0}) + payload);
}

void Owner::SendRaw(const std::string& packet) {
    if (send(socket_, packet.data(), packet.size(), MSG_NOSIGNAL) < 0) {
        throw std::runtime_error("cannot send");
    }
}

bool Owner::Receive(Frame& frame) {
    char packet[16 * 1024];
    AwaitReadable(socket_, "a frame");
    const ssize_t count = recv(socket_, packet, sizeof(packet), 0);
    if (count <= 0) {
        return false;
    }
    const std::string bytes(packet, static_cast<size_t>(count));
    if (bytes.size() < 24 || At<uint32_t>(bytes, 0) != 0x31504f47 ||
        At<uint32_t>(bytes, 16) != bytes.size() - 24) {
        throw std::runtime_error("not a frame");
    }
    frame = {At<uint32_t>(bytes, 4), bytes.substr(24)};
    return true;
}

void Owner::Take(const Frame& frame) {
    if (frame.kind == 5) {
        answers_.push_back(frame.payload);
        return;
    }
    const std::string payload = frame.payload.substr(16, At<uint64_t>(frame.payload, 8));
    if (At<uint32_t>(frame.payload, 0) == 10) {
        std::map<std::string, uint32_t> states;
        size_t place = 4;
        for (uint32_t left = At<uint32_t>(payload, 0); left > 0; --left) {
            const auto length = At<uint32_t>(payload, place);
            states[payload.substr(place + 4, length)] = At<uint32_t>(payload, place + 4 + length);
            place += 8 + length;
        }
        states_.push_back(states);
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
        Told told;
        std::getline(text, told.name, '#');
        told.pid = number();
        told.kind = number();
        told.reason = number();
        if (number() != 0) {
            throw std::runtime_error("the spare number is used");
        }
        told_.push_back(told);
    }
}

std::string Owner::Call(uint32_t type, const std::string& payload) {
    SendFrame(4, 7, RecordBytes(type, payload));
    for (Frame frame; answers_.empty();) {
        if (!Receive(frame)) {
            throw std::runtime_error("hung up instead of an answer");
        }
        Take(frame);
    }
    const std::string answer = answers_.front();
    answers_.pop_front();
    return answer;
}

Told Owner::Next(const std::string& name) {
    for (;;) {
        const auto found = std::find_if(told_.begin(), told_.end(), [&name](const Told& told) {
            return name.empty() || told.name == name;
        });
        if (found != told_.end()) {
            const Told told = *found;
            told_.erase(found);
            return told;
        }
        Frame frame;
        if (!Receive(frame)) {
            throw std::runtime_error("hung up instead of a report");
        }
        Take(frame);
    }
}

std::map<std::string, uint32_t> Owner::Query(const std::vector<std::string>& names) {
    std::string payload = Raw(static_cast<uint32_t>(names.size()));
    for (const std::string& name : names) {
        payload += Raw(static_cast<uint32_t>(name.size())) + name;
    }
    Send(9, payload);
    std::map<std::string, uint32_t> all;
    while (all.size() < names.size()) {
        for (Frame frame; states_.empty();) {
            if (!Receive(frame)) {
                throw std::runtime_error("hung up instead of states");
            }
            Take(frame);
        }
        all.merge(states_.front());
        states_.pop_front();
    }
    return all;
}

bool Owner::NothingMore() {
    Query({"x"});
    return told_.empty();
}

void Owner::AwaitHangUp() {
    for (Frame frame; Receive(frame);) {
    }
}

Ear::Ear(const std::string& runDirectory, const std::string& owner)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const std::string path = runDirectory + "/" + owner + ".notify";
    const sockaddr_un address = Address(path);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("cannot bind " + path);
    }
    chmod(path.c_str(), 0666);
}

Ear::~Ear() {
    close(socket_);
}

std::string Ear::Hear() const {
    char text[32 * 1024];
    AwaitReadable(socket_, "a word of an application");
    const ssize_t count = recv(socket_, text, sizeof(text), 0);
    return std::string(text, count > 0 ? static_cast<size_t>(count) : 0);
}

void Ear::Await(const std::string& text) const {
    while (Hear() != text) {
    }
}

}  // namespace ProcMgrTest
