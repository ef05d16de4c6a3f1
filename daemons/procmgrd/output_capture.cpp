#include "daemons/procmgrd/output_capture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "daemons/procmgrd/log.h"

namespace ProcMgrDaemon {

OutputCapture::OutputCapture(Outputs& outputs, std::shared_ptr<const ApplicationId> application)
    : outputs_(outputs), application_(std::move(application)) {
    const CaptureOptions& options = outputs_.Options();
    if (options.ringBytes > 0 || !options.logDirectory.empty()) {
        OpenPipe();
        ReopenFile();
    }
}

OutputCapture::~OutputCapture() {
    if (readEnd_) {
        outputs_.Forget(readEnd_.Get());
    }
}

void OutputCapture::OpenPipe() {
    int ends[2] = {-1, -1};
    int error = pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
    readEnd_.Reset(ends[0]);
    writeEnd_.Reset(ends[1]);
    if (error == 0) {
        // Only our end: the application must find an ordinary, blocking stream.
        (void)fcntl(readEnd_.Get(), F_SETFL, O_NONBLOCK);
        error = outputs_.Watch(readEnd_.Get(), *this);
    }
    if (error != 0) {
        LogWarning("cannot capture the output of `" + application_->name +
                   "`: " + ErrorText(error));
        readEnd_.Reset();
        writeEnd_.Reset();  // what nobody takes would stop the writer
    }
}

std::string OutputCapture::FilePath() const {
    return outputs_.Options().logDirectory + "/" + application_->name + ".log";
}

void OutputCapture::ReopenFile() {
    if (outputs_.Options().logDirectory.empty()) {
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
    if (outputs_.Options().ringBytes == 0) {
        return;
    }
    if (!log_) {
        log_ = std::make_unique<OutputLog>(outputs_.GetJournal(), application_,
                                           outputs_.Options().ringBytes);
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
