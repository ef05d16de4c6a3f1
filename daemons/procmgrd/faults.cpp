#include "daemons/procmgrd/faults.h"

#include <unistd.h>

#include <charconv>
#include <csignal>

namespace ProcMgrDaemon {

bool Faults::Parse(const std::string& text) {
    const size_t equals = text.find('=');
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    if (equals == std::string::npos ||
        std::from_chars(text.data() + equals + 1, end, number).ptr != end || number == 0) {
        return false;
    }
    const std::string name = text.substr(0, equals);
    if (name == "delay-reports") {
        delayReports = std::chrono::milliseconds(number);
        return true;
    }
    uint64_t* const slot = name == "drop-report"        ? &dropReport
                           : name == "duplicate-report" ? &duplicateReport
                           : name == "stop-reading"     ? &stopReadingAfter
                           : name == "die-at-record"    ? &dieAtRecord
                           : name == "die-at-report"    ? &dieAtReport
                                                        : nullptr;
    if (slot == nullptr) {
        return false;
    }
    *slot = number;
    return true;
}

void DieNow() {
    kill(getpid(), SIGKILL);
    _exit(128 + SIGKILL);
}

}  // namespace ProcMgrDaemon
