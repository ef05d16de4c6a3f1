#include "platform/linux/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

namespace GrpOwnerLinux {

namespace {

using GrpOwnerRecording::Escape;

// What the core reads of the environment.
constexpr const char* kVariables[] = {"PROC_NAME", "STARTUP_ENTRY_PATH", "DATAMASTER_RUN_MODE"};
constexpr size_t kMostUnwritten = 1 << 16;  // bytes

thread_local std::string thisRole;  // NOLINT(readability-identifier-naming)

// A thread that nobody has named calls from the host.
const std::string& RoleOfThisThread() {
    if (thisRole.empty()) {
        thisRole = ThreadRole::Numbered("host");
    }
    return thisRole;
}

std::string_view NameOf(RecordedKind kind) {
    switch (kind) {
        case RecordedKind::kIn:
            return "in";
        case RecordedKind::kOut:
            return "out";
        case RecordedKind::kAsk:
            return "ask";
        case RecordedKind::kGot:
            return "got";
    }
    return "unknown";
}

}  // namespace

std::atomic<Recorder*> Recorder::active_{nullptr};
std::atomic<Recorder*> Recorder::latest_{nullptr};

bool Recorder::Start(const std::string& path, std::string& error) {
    // What a service manager starts again must not write over what the end before has left.
    std::error_code none;
    if (std::filesystem::is_regular_file(path, none)) {
        std::filesystem::rename(path, path + ".old", none);  // else it is written over
    }
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_APPEND, 0600);
    if (file < 0) {
        error = std::strerror(errno);
        return false;
    }
    // Never destroyed: threads of the services may be in it until the process is gone.
    auto* const recorder = std::unique_ptr<Recorder>(new Recorder(file, path)).release();
    latest_ = recorder;
    recorder->text_.append(GrpOwnerRecording::kHead).push_back('\n');
    for (const char* name : kVariables) {
        if (const char* value = std::getenv(name)) {
            recorder->Place("environment", {name, value});
        }
    }
    recorder->PlacePath(std::getenv("STARTUP_ENTRY_PATH"));
    if (recorder->hasEnded_) {
        error = "nothing can be written to it";
        return false;
    }
    active_ = recorder;
    return true;
}

void Recorder::End() {
    const std::lock_guard<std::mutex> lock(mutex_);
    PlaceLocked("end", {});  // nothing comes behind it
    hasEnded_ = true;
    active_ = nullptr;
}

void Recorder::EndStepsLocked() {
    if (!stepsOf_.empty()) {
        text_ += '\n';
        stepsOf_.clear();
    }
}

Recorder::Time Recorder::BeginLocked(std::string_view kind) {
    EndStepsLocked();
    const Time now = std::chrono::steady_clock::now();
    text_ += std::to_string(std::chrono::nanoseconds(now - last_).count());
    last_ = now;
    text_.append(" ").append(Escape(RoleOfThisThread())).append(" ").append(kind);
    return now;
}

void Recorder::FlushLocked() {
    std::string_view rest = text_;
    while (!rest.empty() && !hasEnded_) {
        const ssize_t written = write(file_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR) {
            std::fprintf(stderr, "the recording %s ends here: %s\n", path_.c_str(),
                         std::strerror(errno));
            hasEnded_ = true;
            active_ = nullptr;
        }
    }
    text_.clear();
}

void Recorder::Entry(RecordedKind kind, std::string_view what,
                     const std::vector<std::string>& fields) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hasEnded_) {
        return;
    }
    (void)BeginLocked(NameOf(kind));  // the time is in the entry
    text_.append(" ").append(what);
    for (const std::string& field : fields) {
        text_.append(" ").append(Escape(field));
    }
    text_ += '\n';
    FlushLocked();
}

void Recorder::Place(std::string_view what, const std::vector<std::string>& fields) {
    const std::lock_guard<std::mutex> lock(mutex_);
    PlaceLocked(what, fields);
}

void Recorder::PlaceLocked(std::string_view what, const std::vector<std::string>& fields) {
    (void)BeginLocked(what);
    for (const std::string& field : fields) {
        text_.append(" ").append(Escape(field));
    }
    text_ += '\n';
    FlushLocked();
}

// What the core finds there, for a machine that has no such file.
void Recorder::PlacePath(const char* path) {
    std::error_code error;
    const auto found = std::filesystem::canonical(path == nullptr ? "" : path, error);
    if (!error) {
        Place("path", {path, found});
    }
}

void Recorder::Log(int level, std::string_view text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hasEnded_) {
        return;
    }
    (void)BeginLocked("log");
    text_.append(" ").append(std::to_string(level)).append(" ").append(Escape(text, true));
    text_ += '\n';
    FlushLocked();
}

// Steps are many and say little: those of one thread share an entry. A time belongs to one step, so
// a look at the clock begins an entry.
Recorder::Time Recorder::Step(char step) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hasEnded_) {
        return std::chrono::steady_clock::now();
    }
    if (stepsOf_ != RoleOfThisThread() || step == kStepTimeRead) {
        (void)BeginLocked("steps ");
        stepsOf_ = RoleOfThisThread();
    }
    text_ += step;
    const Time now = last_;
    if (text_.size() > kMostUnwritten) {
        EndStepsLocked();
        FlushLocked();
    }
    return now;
}

ThreadRole::ThreadRole(std::string_view role) : before_(std::move(thisRole)) {
    thisRole = role;
}

ThreadRole::~ThreadRole() {
    thisRole = std::move(before_);
}

std::string ThreadRole::Numbered(std::string_view prefix) {
    static std::mutex mutex;
    static std::map<std::string, unsigned, std::less<>>& numbers =
        *std::make_unique<std::map<std::string, unsigned, std::less<>>>().release();
    const std::lock_guard<std::mutex> lock(mutex);
    return std::string(prefix) + std::to_string(++numbers[std::string(prefix)]);
}

bool StartRecording(const std::string& path, std::string& error) {
    return Recorder::Start(path, error);
}

void EndRecording() {
    if (Recorder* const recorder = Recorder::Active()) {
        recorder->End();
    }
}

void RecordEntry(RecordedKind kind, const std::string& what,
                 const std::vector<std::string>& fields) {
    if (Recorder* const recorder = Recorder::Active()) {
        recorder->Entry(kind, what, fields);
    }
}

std::chrono::steady_clock::time_point RecordStep(char step) {
    Recorder* const recorder = Recorder::Active();
    return recorder == nullptr ? std::chrono::steady_clock::now() : recorder->Step(step);
}

void SetThreadRole(const std::string& role) {
    thisRole = role;
}

}  // namespace GrpOwnerLinux
