#include "platform/linux/log_stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace GrpOwnerLinux {

namespace {

constexpr int kPatienceMs = 100;        // for a reader that is merely slow
constexpr unsigned kMemoryDevices = 1;  // the major number of /dev/null and the like

/// While it lives, SIGPIPE reaches neither this thread nor, afterwards, the process.
class PipeSignalHeld {
public:
    PipeSignalHeld() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeSignalHeld() {
        const timespec noTime{};
        if (!wasPending_) {
            (void)sigtimedwait(&pipe_, nullptr, &noTime);  // fails when there is none: as usual
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeSignalHeld(const PipeSignalHeld&) = delete;
    PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

private:
    bool wasPending_ = false;
    sigset_t pipe_{};
    sigset_t before_{};
};

iovec Part(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}

bool WritePieces(int fd, std::string_view head, std::string_view text) {
    const iovec parts[] = {Part(head), Part(text)};
    return writev(fd, parts, 2) == static_cast<ssize_t>(head.size() + text.size());
}

bool SendPieces(int fd, int flags, std::string_view head, std::string_view text) {
    iovec parts[] = {Part(head), Part(text)};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return sendmsg(fd, &message, MSG_NOSIGNAL | flags) ==
           static_cast<ssize_t>(head.size() + text.size());
}

bool IsPipeSignalIgnored() {
    struct sigaction action {};
    return sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// All or nothing; nothing also where the kernel does not know how for this kind of file.
bool WritePiecesAtOnce(int fd, std::string_view head, std::string_view text) {
    const iovec parts[] = {Part(head), Part(text)};
    return pwritev2(fd, parts, 2, -1, RWF_NOWAIT) ==
           static_cast<ssize_t>(head.size() + text.size());
}

}  // namespace

LogStream::Kind LogStream::KindOf(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return Kind::kOther;
    }
    if (S_ISSOCK(status.st_mode)) {
        return Kind::kSocket;
    }
    if (S_ISFIFO(status.st_mode)) {
        return IsPipeSignalIgnored() ? Kind::kPipe : Kind::kOther;
    }
    const bool isNeverFull = S_ISREG(status.st_mode) ||
                             (S_ISCHR(status.st_mode) && major(status.st_rdev) == kMemoryDevices);
    return isNeverFull ? Kind::kNeverFull : Kind::kOther;
}

// A daemon may put another one in its place, so it is asked again, but not for each of the lines
// that come within one tick of the kernel's clock.
LogStream::Kind LogStream::KindNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const int64_t tick = now.tv_sec * int64_t{1000000000} + now.tv_nsec;
    if (lookedAt_ != tick) {
        kind_ = KindOf(fd_);
        lookedAt_ = tick;
    }
    return kind_;
}

// Most lines need no more: no wait, no signal and no look whether there is room.
bool LogStream::WriteAtOnce(std::string_view head, std::string_view text) {
    switch (KindNow()) {
        case Kind::kSocket:
            return SendPieces(fd_, MSG_DONTWAIT, head, text);
        case Kind::kPipe:
            return WritePiecesAtOnce(fd_, head, text);
        case Kind::kNeverFull:
            return WritePieces(fd_, head, text);
        case Kind::kOther:
            break;
    }
    return false;
}

// Only a pipe needs its signal held. What the descriptor is, is asked each time. Whoever writes
// without our lock may have taken the room that was just there, so that nothing here may wait,
// where the kernel knows how not to.
bool WriteWithoutSignal(int fd, std::string_view head, std::string_view text) {
    struct stat status {};
    if (fstat(fd, &status) == 0) {
        if (S_ISSOCK(status.st_mode)) {
            return SendPieces(fd, MSG_DONTWAIT, head, text);
        }
        if (!S_ISFIFO(status.st_mode)) {
            return WritePieces(fd, head, text);
        }
    }
    const PipeSignalHeld held;
    return WritePiecesAtOnce(fd, head, text) ||
           (errno == EOPNOTSUPP && WritePieces(fd, head, text));
}

// A pipe that is ready takes PIPE_BUF bytes without waiting.
bool LogStream::HasRoom() const {
    pollfd ready{fd_, POLLOUT, 0};
    return poll(&ready, 1, lostLines_ > 0 ? 0 : kPatienceMs) == 1 && ready.revents == POLLOUT;
}

bool LogStream::WriteNow(std::string_view head, std::string_view text) const {
    return HasRoom() && WriteWithoutSignal(fd_, head, text);
}

void LogStream::Write(std::string_view head, std::string_view text) {
    if (lostLines_ == 0 && WriteAtOnce(head, text)) {
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (lostLines_ > 0) {
        char note[64];
        const int length = std::snprintf(note, sizeof(note), "%lu lines of the log were lost\n",
                                         lostLines_.load());
        if (WriteNow(head, {note, static_cast<size_t>(length)})) {
            lostLines_ = 0;
        }
    }
    if (!WriteNow(head, text)) {
        ++lostLines_;
    }
}

}  // namespace GrpOwnerLinux
