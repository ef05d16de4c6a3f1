#pragma once
// Where the progress of a change is shown.

#include <chrono>
#include <memory>
#include <string>

#include "client/grpctl/progress/progress_frame.h"
#include "client/grpctl/progress/progress_model.h"
#include "client/grpctl/typed/options.h"

namespace GrpCtl {

/// Nanoseconds on the clock of the trace.
int64_t MonotonicNow();

/// The form in which a change is shown. Writes to standard error; belongs to one thread.
class ProgressSink {
public:
    ProgressSink() = default;
    virtual ~ProgressSink() = default;
    ProgressSink(const ProgressSink&) = delete;
    ProgressSink& operator=(const ProgressSink&) = delete;

    /// To be called when the model has changed, and again after the time that it answers.
    virtual std::chrono::milliseconds Update(ProgressModel& model) = 0;

    /// The change has ended, as far as anybody can see.
    virtual void End(ProgressModel& model) = 0;

    /// The command does not wait for the end: what has been shown stays.
    virtual void Abandon(ProgressModel& model) { (void)model; }
};

/// In place.
/// @param isKept the last frame stays when the change has ended; else its report takes the place
std::unique_ptr<ProgressSink> MakeTerminalSink(const Headline& headline, Color color, bool isKept);

/// A line for each application that has come to its end.
/// @param isKept a last line says how it ended; else the report does
std::unique_ptr<ProgressSink> MakePlainSink(const ProgressModel& model, const Headline& headline,
                                            bool isKept);

/// JSON lines, one for each change.
std::unique_ptr<ProgressSink> MakeJsonSink(const std::string& verb);

}  // namespace GrpCtl
