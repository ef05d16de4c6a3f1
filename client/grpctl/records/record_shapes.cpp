#include "client/grpctl/records/record_shapes.h"

#include "grpowner/enumerations.h"

namespace GrpCtl {

namespace {

using Type = FieldType;

constexpr uint64_t kMostEntries = 1024;
constexpr uint64_t kMostGroups = 3;
constexpr uint64_t kMostReports = 1999;
constexpr FieldShape kEnd{};

std::string ExitReason(uint64_t reason) {
    return reason == 1 ? "start-time I/O failure" : "";
}

std::string Answer(uint64_t value) {
    return value == 0 ? "no" : value == 1 ? "yes" : "";
}

std::string ProcessState(uint64_t state) {
    constexpr const char* kNames[] = {"running", "not running", "in between", "invalid"};
    return state < 4 ? kNames[state] : "";
}

// clang-format off
constexpr FieldShape kTexts[] = {{"text", Type::kText}, kEnd};

constexpr FieldShape kGroups[] = {
    {"index",  Type::kNumber, 2, nullptr, nullptr, true},
    {"values", Type::kList, kMostEntries, nullptr, kTexts},
    kEnd};

constexpr FieldShape kLaunch[] = {
    {"name",       Type::kText},
    {"arguments",  Type::kList, kMostEntries, nullptr, kTexts},
    {"parameters", Type::kList, kMostGroups, nullptr, kGroups},
    kEnd};
constexpr FieldShape kLaunches[] = {{"applications", Type::kList, UINT32_MAX, nullptr, kLaunch}, kEnd};

constexpr FieldShape kName[] = {{"name", Type::kText}, kEnd};
constexpr FieldShape kNames[] = {{"applications", Type::kList, UINT32_MAX, nullptr, kName}, kEnd};

constexpr FieldShape kBaseState[] = {
    {"state", Type::kNumber, UINT32_MAX, ProcMgr::GetBaseServiceStateTypeStr}, kEnd};
constexpr FieldShape kBaseStates[] = {{"reports", Type::kList, 1, nullptr, kBaseState}, kEnd};

constexpr FieldShape kReport[] = {
    {"name",   Type::kText},
    {"pid",    Type::kNumber},
    {"kind",   Type::kNumber, UINT32_MAX, ProcMgr::GetReportAppStateTypeStr},
    {"reason", Type::kNumber, UINT32_MAX, ExitReason},
    {"spare",  Type::kNumber},
    kEnd};
constexpr FieldShape kReports[] = {{"reports", Type::kList, kMostReports, nullptr, kReport}, kEnd};

constexpr FieldShape kExecution[] = {
    {"name",   Type::kText},
    {"pid",    Type::kNumber},
    {"state",  Type::kNumber, UINT32_MAX, ProcMgr::GetAppExecStateStr},
    {"reason", Type::kNumber},
    kEnd};
constexpr FieldShape kExecutions[] = {{"reports", Type::kList, 1, nullptr, kExecution}, kEnd};

constexpr FieldShape kPair[] = {{"key", Type::kText}, {"value", Type::kText}, kEnd};
constexpr FieldShape kLoad[] = {
    {"path",         Type::kText},
    {"replacements", Type::kList, UINT32_MAX, nullptr, kPair},
    kEnd};
constexpr FieldShape kLoads[] = {{"configurations", Type::kList, 1, nullptr, kLoad}, kEnd};

constexpr FieldShape kNameState[] = {
    {"name",  Type::kText},
    {"state", Type::kNumber, UINT32_MAX, ProcessState},
    kEnd};
constexpr FieldShape kNameStates[] = {{"applications", Type::kList, UINT32_MAX, nullptr, kNameState}, kEnd};

constexpr struct {
    uint32_t type;
    PayloadShape shape;
} kPmShapes[] = {
    {0,  {"start applications",        Coding::kText,   kLaunches}},
    {1,  {"restart applications",      Coding::kText,   kLaunches}},
    {2,  {"terminate applications",    Coding::kText,   kNames}},
    {3,  {"state of the owner",        Coding::kText,   kBaseStates}},
    {4,  {"reports of applications",   Coding::kText,   kReports}},
    {5,  {"execution report",          Coding::kText,   kExecutions}},
    {6,  {"load the configuration",    Coding::kText,   kLoads}},
    {7,  {"reload the configuration",  Coding::kText,   kLoads}},
    {9,  {"query states",              Coding::kBinary, kNames}},
    {10, {"answer to a query",         Coding::kBinary, kNameStates}},
};

constexpr FieldShape kChange[] = {
    {"name",       Type::kText},
    {"option",     Type::kNumber, 2, ProcMgr::GetOptionType},
    {"arguments",  Type::kList, kMostEntries, nullptr, kTexts},
    {"parameters", Type::kList, kMostGroups, nullptr, kGroups},
    kEnd};
constexpr FieldShape kChanges[] = {{"applications", Type::kList, kMostEntries, nullptr, kChange}, kEnd};

constexpr FieldShape kResult[] = {
    {"name",  Type::kText},
    {"state", Type::kNumber, UINT32_MAX, ProcMgr::GetAppState},
    kEnd};
constexpr FieldShape kChangeAnswer[] = {
    {"pieces",  Type::kPieces},
    {"result",  Type::kNumber, 1, Answer},
    {"results", Type::kItems, UINT32_MAX, nullptr, kResult},
    kEnd};

constexpr FieldShape kState[] = {{"state", Type::kLast, INT32_MAX, ProcMgr::GetSysState, nullptr, true}, kEnd};
constexpr FieldShape kStateAnswer[] = {{"result", Type::kNumber, 1, Answer}, kEnd};

constexpr FieldShape kVerification[] = {
    {"name",   Type::kText},
    {"option", Type::kNumber, 2, ProcMgr::GetOptionType},
    kEnd};
constexpr FieldShape kVerify[] = {
    {"applications", Type::kList, kMostEntries, nullptr, kVerification}, kEnd};
constexpr FieldShape kFlag[] = {{"result", Type::kLast, 1, Answer}, kEnd};

constexpr FieldShape kListAnswer[] = {
    {"result",       Type::kNumber, 1, Answer},
    {"applications", Type::kUntilEnd, UINT32_MAX, nullptr, kName},
    kEnd};

constexpr FieldShape kStatus[] = {
    {"name",  Type::kText},
    {"pid",   Type::kNumber},
    {"state", Type::kNumber, UINT32_MAX, ProcessState},
    kEnd};
constexpr FieldShape kQueryAnswer[] = {
    {"result",       Type::kByte, 1, Answer},
    {"applications", Type::kList, UINT32_MAX, nullptr, kStatus},
    kEnd};

constexpr PayloadShape kSsShapes[] = {
    {"change",           Coding::kText,   kChanges},
    {"change-answer",    Coding::kText,   kChangeAnswer},
    {"set-state",        Coding::kText,   kState},
    {"set-state-answer", Coding::kText,   kStateAnswer},
    {"verify",           Coding::kText,   kVerify},
    {"list-answer",      Coding::kText,   kListAnswer},
    {"query",            Coding::kBinary, kNames},
    {"query-answer",     Coding::kBinary, kQueryAnswer},
    {"flag-answer",      Coding::kText,   kFlag},
};
// clang-format on

}  // namespace

const PayloadShape* PmShape(uint32_t type) {
    for (const auto& row : kPmShapes) {
        if (row.type == type) {
            return &row.shape;
        }
    }
    return nullptr;
}

const PayloadShape* SsShape(std::string_view name) {
    for (const PayloadShape& shape : kSsShapes) {
        if (name == shape.name) {
            return &shape;
        }
    }
    return nullptr;
}

}  // namespace GrpCtl
