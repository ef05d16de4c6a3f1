#pragma once
// What is said of the applications of a change on its way.

#include <chrono>
#include <optional>
#include <string>

#include "client/grpctl/progress/progress_model.h"
#include "client/grpctl/text/screen.h"

namespace GrpCtl {

/// "starting": what becomes of it.
std::string WordOf(const TaskProgress& task);
Style StyleOf(const TaskProgress& task);
std::string WordOf(const Remark& remark);

/// "pid 48214   was 48111"; empty: nothing to say.
std::string PidsOf(const TaskProgress& task);
/// "waiting for READY=1", "for camera, lidar", why it failed; may be empty.
std::string NoteOf(const ProgressModel& model, const TaskProgress& task);

/// The longest of all words for these tasks.
size_t WidthOfWords(const ProgressModel& model);

std::chrono::milliseconds Between(int64_t fromNs, int64_t toNs);

/// How long its part took, or has taken until now. Nothing: the owner has not come to it.
std::optional<std::chrono::milliseconds> TimeOf(const TaskProgress& task, int64_t now);

}  // namespace GrpCtl
