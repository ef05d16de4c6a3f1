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
    Open(OutputStream::kOut);
    Open(OutputStream::kErr);
    ReopenFile();
}

OutputCapture::~OutputCapture() {
    for (const Pipe& pipe : pipes_) {
        if (pipe.readEnd) {
            loop_.Forget(pipe.readEnd.Get());
        }
    }
}

void OutputCapture::Open(OutputStream stream) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        LogWarning("cannot capture the output of `" + application_->name +
                   "`: " + ErrorText(errno));
        return;
    }
    Pipe& pipe = pipes_[static_cast<size_t>(stream)];
    pipe.readEnd.Reset(ends[0]);
    pipe.writeEnd.Reset(ends[1]);
    // Only our end: the application must find an ordinary, blocking stream.
    (void)fcntl(pipe.readEnd.Get(), F_SETFL, O_NONBLOCK);
    loop_.Watch(pipe.readEnd.Get(), EPOLLIN, [this, stream](uint32_t) { Drain(stream); });
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
    Drain(OutputStream::kOut);
    Drain(OutputStream::kErr);
    if (log_) {
        log_->EndLines(false);
    }
}

void OutputCapture::Drain(OutputStream stream) {
    const Daemons::UniqueFd& end = pipes_[static_cast<size_t>(stream)].readEnd;
    char chunk[16 * 1024];
    // A bounded helping: a chatterbox must not keep the others waiting.
    for (int left = 8; end && left > 0; --left) {
        const ssize_t count = read(end.Get(), chunk, sizeof(chunk));
        if (count <= 0) {
            return;
        }
        Take(stream, {chunk, static_cast<size_t>(count)});
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

void OutputCapture::Take(OutputStream stream, std::string_view bytes) {
    WriteToFile(bytes);
    if (options_.ringBytes == 0) {
        return;
    }
    if (!log_) {
        log_ = std::make_unique<OutputLog>(journal_, application_, options_.ringBytes);
    }
    log_->Take(stream, bytes, pid_);
}

std::string OutputCapture::LastLines(size_t lines) {
    if (!log_) {
        return {};
    }
    log_->EndLines(true);
    return log_->LastLines(lines);
}

}  // namespace ProcMgrDaemon
