#pragma once
// The 3984-byte records as the real process manager reads and writes them, so that each scenario
// tries the owner's end of the wire against the other one.

#include <string>
#include <utility>
#include <vector>

#include "tests/support/frames.h"

namespace GrpOwnerTest {

enum PmType : uint32_t { kStart, kRestart, kTerm, kBaseState, kReports, kLoad = 6, kReload };
enum PmReportType : uint32_t { kStarted, kRestarted, kTermTimeOut, kExited, kCrashed };

struct PmReport {
    std::string name;
    uint32_t pid = 0;
    uint32_t type = kStarted;
    uint32_t reason = 0;
};

using PmAppRequest = ProcMgrDaemon::LaunchRequest;

struct PmRequest {
    uint32_t type = 0;
    std::vector<PmAppRequest> apps;                     // start, restart, terminate
    ProcMgrDaemon::ConfigurationRequest configuration;  // load and reload
    uint32_t baseState = 0;
    std::vector<std::string> asked;  // of a query
};

/// Reads a record that the owner sent.
/// @throw std::runtime_error when a byte of it is not as agreed
PmRequest DecodeRequest(const std::string& bytes);

std::string EncodeReports(const std::vector<PmReport>& reports);

std::string EncodeQueryAnswer(const std::vector<std::pair<std::string, uint32_t>>& states);

}  // namespace GrpOwnerTest
