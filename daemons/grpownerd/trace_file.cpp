#include "daemons/grpownerd/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "grpowner/trace.h"

namespace GrpOwnerDaemon {

namespace {

constexpr mode_t kReadableByAll = 0644;

int Open(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kReadableByAll);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot write the trace to " + path);
    }
    return file;
}

}  // namespace

TraceFile::TraceFile(const std::string& path, std::string owner)
    : path_(path), owner_(std::move(owner)), file_(Open(path)), thread_([this] { Run(); }) {}

TraceFile::~TraceFile() {
    isEnding_ = true;
    ProcMgr::OwnerTrace::Wake();
    thread_.join();
}

void TraceFile::Run() {
    while (!Write(lines_.Begin(owner_, 0))) {
        if (isEnding_) {
            return;
        }
        TraceLines::Pause();
    }
    while (!isEnding_) {
        if (WriteWhatHasCome()) {
            (void)lines_.Wait();
        } else {
            TraceLines::Pause();
        }
    }
    (void)WriteWhatHasCome();  // what does not go now never will
}

// False when the file takes no more for now.
bool TraceFile::WriteWhatHasCome() {
    for (std::string next = lines_.Next(); !next.empty(); next = lines_.Next()) {
        if (!Write(next)) {
            lines_.TakeBack();
            return false;
        }
    }
    return true;
}

// All of it or nothing: half a line would spoil the one behind it.
bool TraceFile::Write(const std::string& text) {
    struct stat before {};
    const bool isSized = fstat(file_.Get(), &before) == 0 && S_ISREG(before.st_mode);
    const ssize_t written = write(file_.Get(), text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size())) {
        return true;
    }
    const int code = written < 0 ? errno : ENOSPC;
    if (isSized && written > 0 && ftruncate(file_.Get(), before.st_size) != 0) {
        std::fprintf(stderr, "grpownerd: half a line stays in %s\n", path_.c_str());
    }
    if (!std::exchange(isTold_, true)) {
        std::fprintf(stderr, "grpownerd: cannot write the trace to %s: %s; it is tried again\n",
                     path_.c_str(), std::strerror(code));
    }
    return false;
}

}  // namespace GrpOwnerDaemon
