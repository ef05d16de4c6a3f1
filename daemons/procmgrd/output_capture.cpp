#include "daemons/procmgrd/output_capture.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>

#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

OutputCapture::OutputCapture(EventLoop& loop, const CaptureOptions& options,
                             const std::string& name)
    : loop_(loop), options_(options), name_(name) {
    int ends[2] = {-1, -1};
    if (options_.ringBytes == 0 && options_.logDirectory.empty()) {
        return;
    }
    if (pipe2(ends, O_CLOEXEC) != 0) {
        LogWarning("cannot capture the output of `" + name + "`: " + ErrorText(errno));
        return;
    }
    readEnd_.Reset(ends[0]);
    writeEnd_.Reset(ends[1]);
    // Only our end: the application must find an ordinary, blocking stream.
    (void)fcntl(readEnd_.Get(), F_SETFL, O_NONBLOCK);
    ReopenFile();
    loop_.Watch(readEnd_.Get(), EPOLLIN, [this](uint32_t) { Drain(); });
}

OutputCapture::~OutputCapture() {
    if (readEnd_) {
        loop_.Forget(readEnd_.Get());
    }
}

std::string OutputCapture::FilePath() const {
    return options_.logDirectory + "/" + name_ + ".log";
}

void OutputCapture::ReopenFile() {
    if (options_.logDirectory.empty()) {
        return;
    }
    // Not waiting for a reader, should somebody have put a pipe there.
    file_.Reset(
        open(FilePath().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0640));
    if (!file_) {
        LogWarning("cannot open " + FilePath() + ": " + ErrorText(errno));
    }
}

void OutputCapture::Drain() {
    char chunk[16 * 1024];
    // A bounded helping: a chatterbox must not keep the others waiting.
    for (int left = 8; readEnd_ && left > 0; --left) {
        const ssize_t count = read(readEnd_.Get(), chunk, sizeof(chunk));
        if (count <= 0) {
            return;
        }
        Append(chunk, static_cast<size_t>(count));
    }
}

void OutputCapture::WriteToFile(const char* data, size_t size) {
    while (file_ && size > 0) {
        const ssize_t count = write(file_.Get(), data, size);
        if (count < 0) {
            LogWarning("cannot write " + FilePath() + ": " + ErrorText(errno) +
                       "; what follows is lost to it until SIGHUP opens it anew");
            file_.Reset();
            return;
        }
        data += count;
        size -= static_cast<size_t>(count);
    }
}

void OutputCapture::Append(const char* data, size_t size) {
    WriteToFile(data, size);
    const size_t grow = std::min(size, options_.ringBytes - ring_.size());
    ring_.append(data, grow);
    for (size_t done = grow; done < size && options_.ringBytes > 0;) {
        const size_t part = std::min(size - done, options_.ringBytes - oldest_);
        ring_.replace(oldest_, part, data + done, part);
        oldest_ = (oldest_ + part) % options_.ringBytes;
        done += part;
    }
}

std::string OutputCapture::LastLines(size_t lines) const {
    std::string text = ring_.substr(oldest_) + ring_.substr(0, oldest_);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    size_t begin = text.size();
    while (begin > 0 && lines > 0) {
        const size_t end = text.rfind('\n', begin - 1);
        begin = end == std::string::npos ? 0 : end;
        --lines;
    }
    text.erase(0, begin > 0 ? begin + 1 : 0);
    std::string indented;
    for (const char c : text) {
        indented += indented.empty() ? "    " : "";
        // What a program prints must not be able to steer the terminal of who reads the log.
        indented += c == '\n' || c == '\t' || static_cast<unsigned char>(c) >= ' ' ? c : '?';
        indented += c == '\n' ? "    " : "";
    }
    return indented;
}

}  // namespace ProcMgrDaemon
