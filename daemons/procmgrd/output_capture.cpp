#include "daemons/procmgrd/output_capture.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <cerrno>
#include <utility>

#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

OutputCapture::OutputCapture(EventLoop& loop, const CaptureOptions& options, Journal& journal,
                             std::shared_ptr<const ApplicationId> application)
    : loop_(loop), options_(options), journal_(journal), application_(std::move(application)) {
    if (options_.ringBytes == 0 && options_.logDirectory.empty()) {
        return;
    }
    OpenPipe();
    ReopenFile();
}

OutputCapture::~OutputCapture() {
    if (readEnd_) {
        loop_.Forget(readEnd_.Get());
    }
}

void OutputCapture::OpenPipe() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        LogWarning("cannot capture the output of `" + application_->name +
                   "`: " + ErrorText(errno));
        return;
    }
    readEnd_.Reset(ends[0]);
    writeEnd_.Reset(ends[1]);
    // Only our end: the application must find an ordinary, blocking stream.
    (void)fcntl(readEnd_.Get(), F_SETFL, O_NONBLOCK);
    loop_.Watch(readEnd_.Get(), EPOLLIN, [this](uint32_t) { Drain(); });
}

std::string OutputCapture::FilePath() const {
    return options_.logDirectory + "/" + application_->name + ".log";
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

void OutputCapture::Finish() {
    Drain();
    if (log_) {
        log_->EndLine(false);
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
        Take({chunk, static_cast<size_t>(count)});
    }
}

void OutputCapture::WriteToFile(std::string_view bytes) {
    while (file_ && !bytes.empty()) {
        const ssize_t count = write(file_.Get(), bytes.data(), bytes.size());
        if (count < 0) {
            LogWarning("cannot write " + FilePath() + ": " + ErrorText(errno) +
                       "; what follows is lost to it until SIGHUP opens it anew");
            file_.Reset();
            return;
        }
        bytes.remove_prefix(static_cast<size_t>(count));
    }
}

void OutputCapture::Take(std::string_view bytes) {
    WriteToFile(bytes);
    if (options_.ringBytes == 0) {
        return;
    }
    if (!log_) {
        log_ = std::make_unique<OutputLog>(journal_, application_, options_.ringBytes);
    }
    log_->Take(bytes, pid_);
}

std::string OutputCapture::LastLines(size_t lines) {
    if (!log_) {
        return {};
    }
    log_->EndLine(true);
    return log_->LastLines(lines);
}

}  // namespace ProcMgrDaemon
