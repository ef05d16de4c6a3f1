#include "tests/unit/backend/pipe_server.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/linux/host.h"

namespace BackendTest {

using GrpOwnerLinux::kMaxPipePayload;
using GrpOwnerLinux::kPipeMagic;
using GrpOwnerLinux::PipeFrameHeader;

std::string Welcome(int32_t result) {
    return PipeFrame(PipeFrameKind::kWelcome, 0, GrpOwnerTest::Bytes(result));
}

PrivateDirectory::PrivateDirectory() : path_("/tmp/backend_test.XXXXXX") {
    EXPECT_NE(mkdtemp(path_.data()), nullptr);
    setenv("GRPOWNER_RUN_DIR", path_.c_str(), 1);
}

PrivateDirectory::~PrivateDirectory() {
    unsetenv("GRPOWNER_RUN_DIR");
    std::filesystem::remove_all(path_);
}

PipeServer::PipeServer(int backlog) : listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    GrpOwnerLinux::PipePath(directory_.Path(), "PM").copy(address.sun_path, 100);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(listener_, backlog), 0);
}

PipeServer::~PipeServer() {
    HangUp();
    close(listener_);
}

Frame PipeServer::Accept(std::string_view welcome) {
    HangUp();
    connection_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const timeval aMinute{60, 0};  // then a test fails instead of hanging
    EXPECT_EQ(setsockopt(connection_, SOL_SOCKET, SO_RCVTIMEO, &aMinute, sizeof(aMinute)), 0);
    Frame hello = Receive();
    if (!welcome.empty()) {
        SendBytes(welcome);
    }
    return hello;
}

Frame PipeServer::Receive() {
    std::string packet(sizeof(PipeFrameHeader) + kMaxPipePayload + 1, '\0');
    const ssize_t length = recv(connection_, packet.data(), packet.size(), 0);
    PipeFrameHeader header{};
    if (length < static_cast<ssize_t>(sizeof(header))) {
        return {};
    }
    std::memcpy(&header, packet.data(), sizeof(header));
    EXPECT_EQ(header.magic, kPipeMagic);
    EXPECT_EQ(header.size, length - sizeof(header));
    return {static_cast<PipeFrameKind>(header.kind), header.sequence,
            packet.substr(sizeof(header), header.size)};
}

void PipeServer::SendBytes(std::string_view bytes) {
    EXPECT_EQ(send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

void PipeServer::HangUp() {
    if (connection_ >= 0) {
        close(connection_);
        connection_ = -1;
    }
}

Told& Told::Instance() {
    static Told told;
    return told;
}

void Told::Reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    told_.clear();
    isGateOpen_ = true;
}

void Told::Add(const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    told_.push_back(what);
    changed_.notify_all();
}

std::vector<std::string> Told::WaitFor(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::minutes(1),
                                  [this, count] { return told_.size() >= count; }))
        << told_.size() << " of " << count;
    return told_;
}

void Told::CloseGate() {
    std::lock_guard<std::mutex> lock(mutex_);
    isGateOpen_ = false;
}

void Told::OpenGate() {
    std::lock_guard<std::mutex> lock(mutex_);
    isGateOpen_ = true;
    changed_.notify_all();
}

void Told::PassGate() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return isGateOpen_; });
}

EzcomOpenParams OpenParams(EzcomRequestHandler handler, int timeoutMs) {
    return {"rover", "PM", 42, handler, timeoutMs, 0, 1, -1, -1};
}

int OpenPipe(PipeServer& server, EzcomRequestHandler handler) {
    const EzcomOpenParams params = OpenParams(handler);
    auto opened = std::async(std::launch::async, [&params] { return EzcomOpen(&params); });
    server.Accept(Welcome(0));
    const int fd = opened.get();
    EXPECT_GT(fd, 0);
    return fd;
}

}  // namespace BackendTest
