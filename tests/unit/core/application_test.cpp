#include "src/application/application.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::App;
using GrpOwnerTest::Logged;

constexpr AppStateType INITSTATE = AppStateType::INITSTATE;
constexpr AppStateType STARTING = AppStateType::STARTING;
constexpr AppStateType RUNNING = AppStateType::RUNNING;
constexpr AppStateType RESTARTING = AppStateType::RESTARTING;
constexpr AppStateType TERMINATING = AppStateType::TERMINATING;
constexpr AppStateType TERMINATED = AppStateType::TERMINATED;

/// What is done to an application: its result by name; `before` stays as it is for a command.
using Operation = std::string (*)(Application& app, AppStateType& before);

template <auto kCommand>
std::string Command(Application& app, AppStateType& /*before*/) {
    return (app.*kCommand)() ? "true" : "false";
}

std::string Name(AppChangeState result) {
    return GetAppState(static_cast<uint64_t>(result));
}

template <auto kReport>
std::string Report(Application& app, AppStateType& before) {
    return Name((app.*kReport)(before));
}

std::string Fail(Application& app, AppStateType& before) {
    return Name(app.ReportTerminatedAbnormalFromProcMgr(2, before));
}

constexpr Operation kStart = Command<&Application::Start>;
constexpr Operation kTerm = Command<&Application::Term>;
constexpr Operation kRestart = Command<&Application::Restart>;
constexpr Operation kStarted = Report<&Application::ReportRunningNormalStartFromProcMgr>;
constexpr Operation kTimeout = Report<&Application::ReportRunningAbnormalTermTimeoutFromProcMgr>;
constexpr Operation kRestarted = Report<&Application::ReportRunningNormalReStartFromProcMgr>;
constexpr Operation kExited = Report<&Application::ReportTerminatedNormalFromProcMgr>;
constexpr Operation kFailed = Fail;
constexpr Operation kOwn = Report<&Application::ReportRunningNormalStartFromApp>;

// Who says that an application runs: the process manager, or the application itself.
enum class Ready { kAny, kByPm, kByItself };

struct Row {
    AppStateType state;
    Operation operation;
    Ready ready;
    const char* result;
    AppStateType next;
    int level;
    const char* text;  // behind class and name
};

std::string ClassOf(AppStateType state) {
    constexpr const char* kNames[] = {"Init",       "Running",     "Starting",
                                      "Restarting", "Terminating", "Terminated"};
    return std::string(kNames[static_cast<uint32_t>(state)]) + "ApplicationState";
}

#define STARTED " ReportRunningNormalStartFromProcMgr"
#define TIMEOUT " ReportRunningAbnormalTermTimeoutFromProcMgr"
#define RESTARTED " ReportRunningNormalReStartFromProcMgr"
#define EXITED " ReportTerminatedNormalFromProcMgr"
#define FAILED " ReportTerminatedAbnormalFromProcMgr"
#define OWN " ReportRunningNormalStartFromApp"
#define DUPLICATE \
    ", it's duplicate operation, but we return true, should mark the operation success directly"

const Row kRows[] = {
    {INITSTATE, kStart, Ready::kAny, "true", STARTING, kInfo, "  Start()"},
    {INITSTATE, kTerm, Ready::kAny, "true", INITSTATE, kWarning, " Term, return."},
    {INITSTATE, kOwn, Ready::kAny, "SUCCESS", RUNNING, kWarning, OWN},

    {STARTING, kTerm, Ready::kAny, "true", TERMINATING, kWarning, " Term"},
    {STARTING, kStarted, Ready::kByPm, "SUCCESS", RUNNING, kEvent, STARTED},
    {STARTING, kStarted, Ready::kByItself, "PROCESSING", STARTING, kEvent, STARTED},
    {STARTING, kExited, Ready::kAny, "START_FAILED", TERMINATED, kWarning, EXITED},
    {STARTING, kFailed, Ready::kAny, "START_FAILED", TERMINATED, kInfo, FAILED},
    {STARTING, kOwn, Ready::kByPm, "PROCESSING", STARTING, kInfo, OWN},
    {STARTING, kOwn, Ready::kByItself, "SUCCESS", RUNNING, kInfo, OWN},

    {RUNNING, kStart, Ready::kAny, "true", RUNNING, kWarning, " Start" DUPLICATE},
    {RUNNING, kTerm, Ready::kAny, "true", TERMINATING, kInfo, " Term"},
    {RUNNING, kRestart, Ready::kAny, "true", RESTARTING, kInfo, " Restart"},
    {RUNNING, kExited, Ready::kAny, "PROCESSING", TERMINATED, kWarning, EXITED},
    {RUNNING, kFailed, Ready::kAny, "PROCESSING", TERMINATED, kInfo, FAILED ", reason=2"},
    {RUNNING, kOwn, Ready::kAny, "PROCESSING", RUNNING, kError,
     OWN ". there is something wrong in app cfg, please check is_ros_node(it should be true)"},

    {RESTARTING, kTerm, Ready::kAny, "true", TERMINATING, kWarning, " Term"},
    {RESTARTING, kRestarted, Ready::kByPm, "SUCCESS", RUNNING, kInfo, RESTARTED},
    {RESTARTING, kRestarted, Ready::kByItself, "PROCESSING", RESTARTING, kInfo, RESTARTED},
    {RESTARTING, kExited, Ready::kAny, "RESTART_FAILED", TERMINATED, kWarning, EXITED},
    {RESTARTING, kFailed, Ready::kAny, "RESTART_FAILED", TERMINATED, kInfo, FAILED},
    {RESTARTING, kOwn, Ready::kByPm, "PROCESSING", RESTARTING, kWarning, OWN},
    {RESTARTING, kOwn, Ready::kByItself, "SUCCESS", RUNNING, kWarning, OWN},

    {TERMINATING, kTerm, Ready::kAny, "true", TERMINATING, kEvent,
     " Term, continuing terminating."},
    {TERMINATING, kTimeout, Ready::kAny, "TERM_FAILED", RUNNING, kInfo, TIMEOUT},
    {TERMINATING, kExited, Ready::kAny, "SUCCESS", TERMINATED, kInfo, EXITED},
    {TERMINATING, kFailed, Ready::kAny, "SUCCESS", TERMINATED, kWarning, FAILED ", reason=2"},

    {TERMINATED, kStart, Ready::kAny, "true", STARTING, kInfo, " Start"},
    {TERMINATED, kTerm, Ready::kAny, "true", TERMINATED, kWarning, " Term" DUPLICATE},
    {TERMINATED, kRestart, Ready::kAny, "true", RESTARTING, kInfo, " Restart"},
};

// What they do in each state of which no row above says otherwise: nothing.
const Row kUsual[] = {
    {{}, kStart, Ready::kAny, "false", {}, kError, " Start, it's invalid operation."},
    {{}, kRestart, Ready::kAny, "false", {}, kError, " Restart, it's invalid operation."},
    {{}, kStarted, Ready::kAny, "PROCESSING", {}, kWarning, STARTED},
    {{}, kTimeout, Ready::kAny, "PROCESSING", {}, kWarning, TIMEOUT},
    {{}, kRestarted, Ready::kAny, "PROCESSING", {}, kWarning, RESTARTED},
    {{}, kExited, Ready::kAny, "PROCESSING", {}, kWarning, EXITED},
    {{}, kFailed, Ready::kAny, "PROCESSING", {}, kWarning, FAILED ", reason=2"},
    {{}, kOwn, Ready::kAny, "PROCESSING", {}, kWarning, OWN},
};

ApplicationManifest Manifest(const ManifestFields& fields) {
    return ApplicationManifest(std::make_shared<const ManifestFields>(fields));
}

void Check(const Row& row, const ManifestFields& fields, bool byItself) {
    Application app(Manifest(fields), "");
    ASSERT_TRUE(app.CompareAndSetAppState(INITSTATE, row.state));
    ClearLog();
    AppStateType before = row.state;
    EXPECT_EQ(row.operation(app, before), row.result);
    EXPECT_EQ(before, row.state);
    EXPECT_EQ(app.GetAppStateType(), row.next);
    const std::string prefix = ClassOf(row.state) + " appName:cam";
    std::vector<std::string> expected{std::to_string(row.level) + prefix + row.text};
    if (row.state == STARTING && row.operation == kStarted && !byItself) {
        expected.push_back("16" + prefix + " is running after receiving pm report.");
    }
    std::vector<std::string> logged;
    for (const LogLine& line : LogLines()) {
        logged.push_back(std::to_string(line.level) + line.text);
    }
    EXPECT_EQ(logged, expected);
    if (row.operation == kFailed) {  // a start-time I/O failure tells whoever waits for a start
        Application other(Manifest(fields), "");
        ASSERT_TRUE(other.CompareAndSetAppState(INITSTATE, row.state));
        const bool isAwaited = row.state == STARTING || row.state == RESTARTING;
        EXPECT_EQ(Name(other.ReportTerminatedAbnormalFromProcMgr(1, before)),
                  isAwaited ? "START_FAILED_BY_EIO" : row.result);
        EXPECT_EQ(other.GetAppStateType(), row.next);
    }
}

// Each operation in each state has its result, its next state and exactly its lines, whichever way
// an application becomes ready.
TEST(ApplicationTest, EveryCellOfTheStateTable) {
    std::vector<Row> rows(std::begin(kRows), std::end(kRows));
    for (const AppStateType state :
         {INITSTATE, STARTING, RUNNING, RESTARTING, TERMINATING, TERMINATED}) {
        for (Row row : kUsual) {
            row.state = row.next = state;
            const auto isIt = [&row](const Row& other) {
                return other.state == row.state && other.operation == row.operation;
            };
            if (std::none_of(std::begin(kRows), std::end(kRows), isIt)) {
                rows.push_back(row);
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

// Five restarts, the last of them `milliseconds` before the next attempt.
void FillWindow(Application& app, int milliseconds) {
    for (uint32_t count = 1; count <= 5; ++count) {
        EXPECT_TRUE(app.IsOkToRestart());
        EXPECT_EQ(app.GetRestartCount(), count);
    }
    Sleep(Milliseconds(milliseconds));
}

// The sixth attempt closes the window: refused at 60 seconds, and only that once.
TEST(ApplicationTest, LimiterRefusesTheSixthRestartOfAWindow) {
    Reset();
    Application app(Manifest(App("cam").Restart("on-failure")), "");
    FillWindow(app, 60000);
    EXPECT_FALSE(app.IsOkToRestart());
    EXPECT_TRUE(Logged(kError,
                       "Cannot Restart appName:cam , because restart count(5) is more than 5 "
                       "within 60000(window time:60000)ms"));
    FillWindow(app, 60001);
    EXPECT_TRUE(app.IsOkToRestart());
    EXPECT_TRUE(
        Logged(kWarning, "IsOkToRestart appName:cam elapseMillisecond:60001 restartCount_:5"));
    EXPECT_EQ(app.GetRestartCount(), 0U);
}

// The state object of a moved record must not point back to the old one.
TEST(ApplicationTest, MovedRecordHasItsOwnState) {
    auto old = std::make_unique<Application>(Manifest(App("cam").Arguments({"-v"})), "");
    old->SetDynamicParas({{1, {"p"}}});
    ASSERT_TRUE(old->CompareAndSetAppState(AppStateType::INITSTATE, AppStateType::TERMINATED));
    Application moved(std::move(*old));
    old.reset();
    EXPECT_TRUE(moved.Start());
    EXPECT_EQ(moved.GetAppStateType(), AppStateType::STARTING);
    EXPECT_TRUE(Logged(kInfo, "TerminatedApplicationState appName:cam Start"));
    EXPECT_EQ(moved.GetArguments(), std::vector<std::string>{"-v"});
    EXPECT_EQ(moved.GetDynamicParas(), (DynamicParas{{1, {"p"}}}));
}

}  // namespace
}  // namespace ProcMgr
