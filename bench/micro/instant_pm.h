#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace GrpOwnerBench {

/// A record of the process manager as the owner receives it.
std::string PmRecord(uint32_t type, std::string_view payload);
constexpr uint32_t kReportType = 4;
constexpr uint32_t kQueryAnswerType = 10;

/// What the process manager has to say of an application.
enum class Report : char { kStarted = '0', kRestarted = '1', kExited = '3' };

/// The reports of these applications in as many records as needed.
std::vector<std::string> ReportRecords(const std::vector<std::string_view>& names, Report report,
                                       size_t mostInOne);

/// From now on every request of the owner is answered inside the call that sends it.
/// @param most of the applications of a request, the first so many; the others are passed over
void AnswerAtOnce(size_t most);

/// From now on the reports come one by one on a thread of their own, about as fast as programs can
/// be started.
void AnswerOneByOne();

}  // namespace GrpOwnerBench
