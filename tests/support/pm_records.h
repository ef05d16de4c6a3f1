#pragma once
// The process manager's side of the 3984-byte records, written down a second time on purpose: the
// owner's own codec is what these records test.

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace GrpOwnerTest {

enum PmType : uint32_t {
    kStart = 0,
    kRestart = 1,
    kTerm = 2,
    kBaseState = 3,
    kReports = 4,
    kLoad = 6,
    kReload = 7,
    kQuery = 9,
    kQueryAnswer = 10,
};

enum PmReportType : uint32_t {
    kStarted = 0,
    kRestarted = 1,
    kTermTimeOut = 2,
    kExited = 3,
    kCrashed = 4,
};

struct PmReport {
    std::string name;
    uint32_t pid = 0;
    uint32_t type = kStarted;
    uint32_t reason = 0;
    uint32_t spare = 0;
};

struct PmAppRequest {
    std::string name;
    std::vector<std::string> arguments;
    std::map<int, std::vector<std::string>> parameters;
};

struct PmRequest {
    uint32_t type = 0;
    std::vector<PmAppRequest> apps;            // start, restart, terminate
    std::string path;                          // load and reload
    std::map<std::string, std::string> match;  // load and reload
    uint32_t baseState = 0;                    // base-service report
};

/// Reads a record that the owner sent.
/// @throw std::runtime_error when a byte of it is not as agreed
PmRequest DecodeRequest(const std::string& bytes);

/// A record of this type around a payload.
std::string EncodeRecord(uint32_t type, const std::string& payload);

std::string EncodeReports(const std::vector<PmReport>& reports);

std::string EncodeQueryAnswer(const std::vector<std::pair<std::string, uint32_t>>& states);

}  // namespace GrpOwnerTest
