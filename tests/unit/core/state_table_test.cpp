#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"
#include "src/application/application.h"
#include "tests/support/manifest_builder.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::App;

constexpr AppStateType INITSTATE = AppStateType::INITSTATE;
constexpr AppStateType STARTING = AppStateType::STARTING;
constexpr AppStateType RUNNING = AppStateType::RUNNING;
constexpr AppStateType RESTARTING = AppStateType::RESTARTING;
constexpr AppStateType TERMINATING = AppStateType::TERMINATING;
constexpr AppStateType TERMINATED = AppStateType::TERMINATED;

enum class Operation {
    kStart,
    kTerm,
    kRestart,
    kStarted,
    kTimeout,
    kRestarted,
    kExited,
    kFailed,
    kOwn
};

// Who says that an application runs: the process manager, or the application itself.
enum class Ready { kAny, kByPm, kByItself };

struct Row {
    AppStateType state;
    Operation operation;
    Ready ready;
    const char* result;
    AppStateType next;
    int level;
    const char* text;  // behind class and name; the failed report has reason 2
};

std::string ClassOf(AppStateType state) {
    constexpr const char* kNames[] = {"Init",       "Running",     "Starting",
                                      "Restarting", "Terminating", "Terminated"};
    return std::string(kNames[static_cast<uint32_t>(state)]) + "ApplicationState";
}

using Op = Operation;
#define STARTED " ReportRunningNormalStartFromProcMgr"
#define TIMEOUT " ReportRunningAbnormalTermTimeoutFromProcMgr"
#define RESTARTED " ReportRunningNormalReStartFromProcMgr"
#define EXITED " ReportTerminatedNormalFromProcMgr"
#define FAILED " ReportTerminatedAbnormalFromProcMgr"
#define OWN " ReportRunningNormalStartFromApp"
#define INVALID ", it's invalid operation."
#define DUPLICATE \
    ", it's duplicate operation, but we return true, should mark the operation success directly"

const Row kRows[] = {
    {INITSTATE, Op::kStart, Ready::kAny, "true", STARTING, kInfo, "  Start()"},
    {INITSTATE, Op::kTerm, Ready::kAny, "true", INITSTATE, kWarning, " Term, return."},
    {INITSTATE, Op::kRestart, Ready::kAny, "false", INITSTATE, kError, " Restart" INVALID},
    {INITSTATE, Op::kExited, Ready::kAny, "PROCESSING", INITSTATE, kWarning, EXITED},
    {INITSTATE, Op::kFailed, Ready::kAny, "PROCESSING", INITSTATE, kWarning, FAILED ", reason=2"},
    {INITSTATE, Op::kOwn, Ready::kAny, "SUCCESS", RUNNING, kWarning, OWN},

    {STARTING, Op::kStart, Ready::kAny, "false", STARTING, kError, " Start" INVALID},
    {STARTING, Op::kTerm, Ready::kAny, "true", TERMINATING, kWarning, " Term"},
    {STARTING, Op::kRestart, Ready::kAny, "false", STARTING, kError, " Restart" INVALID},
    {STARTING, Op::kStarted, Ready::kByPm, "SUCCESS", RUNNING, kEvent, STARTED},
    {STARTING, Op::kStarted, Ready::kByItself, "PROCESSING", STARTING, kEvent, STARTED},
    {STARTING, Op::kExited, Ready::kAny, "START_FAILED", TERMINATED, kWarning, EXITED},
    {STARTING, Op::kFailed, Ready::kAny, "START_FAILED", TERMINATED, kInfo, FAILED},
    {STARTING, Op::kOwn, Ready::kByPm, "PROCESSING", STARTING, kInfo, OWN},
    {STARTING, Op::kOwn, Ready::kByItself, "SUCCESS", RUNNING, kInfo, OWN},

    {RUNNING, Op::kStart, Ready::kAny, "true", RUNNING, kWarning, " Start" DUPLICATE},
    {RUNNING, Op::kTerm, Ready::kAny, "true", TERMINATING, kInfo, " Term"},
    {RUNNING, Op::kRestart, Ready::kAny, "true", RESTARTING, kInfo, " Restart"},
    {RUNNING, Op::kExited, Ready::kAny, "PROCESSING", TERMINATED, kWarning, EXITED},
    {RUNNING, Op::kFailed, Ready::kAny, "PROCESSING", TERMINATED, kInfo, FAILED ", reason=2"},
    {RUNNING, Op::kOwn, Ready::kAny, "PROCESSING", RUNNING, kError,
     OWN ". there is something wrong in app cfg, please check is_ros_node(it should be true)"},

    {RESTARTING, Op::kStart, Ready::kAny, "false", RESTARTING, kError, " Start" INVALID},
    {RESTARTING, Op::kTerm, Ready::kAny, "true", TERMINATING, kWarning, " Term"},
    {RESTARTING, Op::kRestart, Ready::kAny, "false", RESTARTING, kError, " Restart" INVALID},
    {RESTARTING, Op::kRestarted, Ready::kByPm, "SUCCESS", RUNNING, kInfo, RESTARTED},
    {RESTARTING, Op::kRestarted, Ready::kByItself, "PROCESSING", RESTARTING, kInfo, RESTARTED},
    {RESTARTING, Op::kExited, Ready::kAny, "RESTART_FAILED", TERMINATED, kWarning, EXITED},
    {RESTARTING, Op::kFailed, Ready::kAny, "RESTART_FAILED", TERMINATED, kInfo, FAILED},
    {RESTARTING, Op::kOwn, Ready::kByPm, "PROCESSING", RESTARTING, kWarning, OWN},
    {RESTARTING, Op::kOwn, Ready::kByItself, "SUCCESS", RUNNING, kWarning, OWN},

    {TERMINATING, Op::kStart, Ready::kAny, "false", TERMINATING, kError, " Start" INVALID},
    {TERMINATING, Op::kTerm, Ready::kAny, "true", TERMINATING, kEvent,
     " Term, continuing terminating."},
    {TERMINATING, Op::kRestart, Ready::kAny, "false", TERMINATING, kError, " Restart" INVALID},
    {TERMINATING, Op::kTimeout, Ready::kAny, "TERM_FAILED", RUNNING, kInfo, TIMEOUT},
    {TERMINATING, Op::kExited, Ready::kAny, "SUCCESS", TERMINATED, kInfo, EXITED},
    {TERMINATING, Op::kFailed, Ready::kAny, "SUCCESS", TERMINATED, kWarning, FAILED ", reason=2"},
    {TERMINATING, Op::kOwn, Ready::kAny, "PROCESSING", TERMINATING, kWarning, OWN},

    {TERMINATED, Op::kStart, Ready::kAny, "true", STARTING, kInfo, " Start"},
    {TERMINATED, Op::kTerm, Ready::kAny, "true", TERMINATED, kWarning, " Term" DUPLICATE},
    {TERMINATED, Op::kRestart, Ready::kAny, "true", RESTARTING, kInfo, " Restart"},
    {TERMINATED, Op::kExited, Ready::kAny, "PROCESSING", TERMINATED, kWarning, EXITED},
    {TERMINATED, Op::kFailed, Ready::kAny, "PROCESSING", TERMINATED, kWarning, FAILED ", reason=2"},
    {TERMINATED, Op::kOwn, Ready::kAny, "PROCESSING", TERMINATED, kWarning, OWN},
};

// Where no row above says otherwise, these change nothing and are warned of.
const std::pair<Operation, const char*> kReportsThatOftenOnlyWarn[] = {
    {Op::kStarted, STARTED}, {Op::kTimeout, TIMEOUT}, {Op::kRestarted, RESTARTED}};

std::string Report(AppChangeState result) {
    return GetAppState(static_cast<uint64_t>(result));
}

/// The operation's result by name; `before` stays as it is for a command.
std::string Apply(Application& app, Operation operation, uint32_t reason, AppStateType& before) {
    switch (operation) {
        case Op::kStart:
            return app.Start() ? "true" : "false";
        case Op::kTerm:
            return app.Term() ? "true" : "false";
        case Op::kRestart:
            return app.Restart() ? "true" : "false";
        case Op::kStarted:
            return Report(app.ReportRunningNormalStartFromProcMgr(before));
        case Op::kTimeout:
            return Report(app.ReportRunningAbnormalTermTimeoutFromProcMgr(before));
        case Op::kRestarted:
            return Report(app.ReportRunningNormalReStartFromProcMgr(before));
        case Op::kExited:
            return Report(app.ReportTerminatedNormalFromProcMgr(before));
        case Op::kFailed:
            return Report(app.ReportTerminatedAbnormalFromProcMgr(reason, before));
        case Op::kOwn:
            return Report(app.ReportRunningNormalStartFromApp(before));
    }
    return "";
}

ApplicationManifest Manifest(const ManifestFields& fields) {
    return ApplicationManifest(std::make_shared<const ManifestFields>(fields));
}

void Check(const Row& row, const ManifestFields& fields, bool byItself) {
    Application app(Manifest(fields), "");
    ASSERT_TRUE(app.CompareAndSetAppState(INITSTATE, row.state));
    ClearLog();
    AppStateType before = row.state;
    EXPECT_EQ(Apply(app, row.operation, 2, before), row.result);
    EXPECT_EQ(before, row.state);
    EXPECT_EQ(app.GetAppStateType(), row.next);
    const std::string prefix = ClassOf(row.state) + " appName:cam";
    std::vector<std::string> expected{std::to_string(row.level) + prefix + row.text};
    if (row.state == STARTING && row.operation == Op::kStarted && !byItself) {
        expected.push_back("16" + prefix + " is running after receiving pm report.");
    }
    std::vector<std::string> logged;
    for (const LogLine& line : LogLines()) {
        logged.push_back(std::to_string(line.level) + line.text);
    }
    EXPECT_EQ(logged, expected);
}

// Each operation in each state has its result, its next state and exactly its lines, whichever way
// an application becomes ready.
TEST(StateTable, EveryCell) {
    std::vector<Row> rows(std::begin(kRows), std::end(kRows));
    for (const AppStateType state :
         {INITSTATE, STARTING, RUNNING, RESTARTING, TERMINATING, TERMINATED}) {
        for (const auto& [operation, text] : kReportsThatOftenOnlyWarn) {
            const auto isIt = [state, operation = operation](const Row& row) {
                return row.state == state && row.operation == operation;
            };
            if (std::none_of(std::begin(kRows), std::end(kRows), isIt)) {
                rows.push_back(
                    {state, operation, Ready::kAny, "PROCESSING", state, kWarning, text});
            }
        }
    }
    size_t cells = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(ClassOf(row.state) + row.text);
        if (row.ready != Ready::kByItself) {
            Check(row, App("cam"), false);
            ++cells;
        }
        if (row.ready != Ready::kByPm) {
            Check(row, App("cam").RosNode(), true);
            Check(row, App("cam").Reporting(), true);
            ++cells;
        }
    }
    EXPECT_EQ(cells, 2U * 6 * 9);
}

// Only the start-time I/O failure has a result of its own, and only while a start or restart is
// waited for.
TEST(StateTable, ReasonOneOfAnAbnormalExit) {
    const std::pair<AppStateType, const char*> rows[] = {
        {INITSTATE, "PROCESSING"}, {STARTING, "START_FAILED_BY_EIO"},
        {RUNNING, "PROCESSING"},   {RESTARTING, "START_FAILED_BY_EIO"},
        {TERMINATING, "SUCCESS"},  {TERMINATED, "PROCESSING"},
    };
    for (const auto& [state, result] : rows) {
        SCOPED_TRACE(ClassOf(state));
        Application app(Manifest(App("cam")), "");
        ASSERT_TRUE(app.CompareAndSetAppState(INITSTATE, state));
        AppStateType before = INITSTATE;
        EXPECT_EQ(Apply(app, Op::kFailed, 1, before), result);
        EXPECT_EQ(app.GetAppStateType(), state == INITSTATE ? INITSTATE : TERMINATED);
    }
}

}  // namespace
}  // namespace ProcMgr
