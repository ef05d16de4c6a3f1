#pragma once
// Keeps what comes into the owner, what the platform and the host answer it, what it logs, and in
// which order its threads go on. Hooks cost one look at a pointer while nobody records.

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/host.h"
#include "platform/portable/recording_fields.h"

namespace GrpOwnerLinux {

/// Writes entries in the order in which they come. Any thread; the mutex, a leaf, guards all of it.
/// An entry is in the file when the call returns, but for steps: those go with the next entry.
class Recorder {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Null while nobody records.
    static Recorder* Active() { return active_.load(std::memory_order_acquire); }

    /// @param error filled in with the reason when the result is false
    static bool Start(const std::string& path, std::string& error);
    void End();

    void Entry(RecordedKind kind, std::string_view what, const std::vector<std::string>& fields);
    void Log(int level, std::string_view text);
    Time Step(char step);

private:
    Recorder(int file, std::string path) : file_(file), path_(std::move(path)) {}

    void Place(std::string_view what, const std::vector<std::string>& fields);
    void PlaceLocked(std::string_view what, const std::vector<std::string>& fields);
    void PlacePath(const char* path);
    Time BeginLocked(std::string_view kind);
    void EndStepsLocked();
    void FlushLocked();

    static std::atomic<Recorder*> active_;
    static std::atomic<Recorder*> latest_;  // not lost when it has ended

    std::mutex mutex_;
    const int file_;
    const std::string path_;
    const Time beginning_ = std::chrono::steady_clock::now();
    Time last_ = beginning_;
    std::string stepsOf_;  // the thread whose steps are at the end of the text; empty: none
    std::string text_;     // not in the file yet
    bool hasEnded_ = false;
};

/// What this thread is called in a recording while the object lives.
class ThreadRole {
public:
    explicit ThreadRole(std::string_view role);
    ~ThreadRole();
    ThreadRole(const ThreadRole&) = delete;
    ThreadRole& operator=(const ThreadRole&) = delete;

    /// One of its own for each: "ss1", "ss2"…
    static std::string Numbered(std::string_view prefix);

private:
    std::string before_;
};

/// A pair of entries: one when it is made, the other when it has ended.
class RecordedPair {
public:
    /// @param fill called with a FieldWriter for the fields, if anybody records
    template <typename Fill>
    RecordedPair(RecordedKind begin, RecordedKind end, const char* what, Fill fill)
        : recorder_(Recorder::Active()), end_(end), what_(what) {
        if (recorder_ != nullptr) {
            GrpOwnerRecording::FieldWriter writer;
            fill(writer);
            recorder_->Entry(begin, what_, writer.fields);
        }
    }

    template <typename Fill>
    void End(Fill fill) const {
        if (recorder_ != nullptr) {
            GrpOwnerRecording::FieldWriter writer;
            fill(writer);
            recorder_->Entry(end_, what_, writer.fields);
        }
    }

    /// The whole second entry is a number.
    int Result(int result) const {
        End([result](auto& fields) { fields(result); });
        return result;
    }

private:
    Recorder* const recorder_;
    const RecordedKind end_;
    const char* const what_;
};

/// The library asks the platform.
template <typename Fill>
RecordedPair RecordAsk(const char* what, Fill fill) {
    return {RecordedKind::kAsk, RecordedKind::kGot, what, fill};
}

/// The platform calls into the library.
template <typename Fill>
RecordedPair RecordIn(const char* what, Fill fill) {
    return {RecordedKind::kIn, RecordedKind::kOut, what, fill};
}

}  // namespace GrpOwnerLinux
