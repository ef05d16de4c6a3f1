#include "bench/micro/instant_pm.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "platform/memory/memory_platform.h"

namespace GrpOwnerBench {

namespace {

// type at 0, length at 8, data at 16
constexpr size_t kRecordSize = 3984;
constexpr size_t kLengthOffset = 8;
constexpr size_t kDataOffset = 16;
constexpr std::chrono::microseconds kSpawnTime{200};
constexpr size_t kMostReports = 128;  // in a record: names of a good length still fit

template <typename Number>
Number NumberAt(const std::string& record, size_t offset) {
    Number number = 0;
    std::memcpy(&number, record.data() + offset, sizeof(number));
    return number;
}

std::string_view TakeField(std::string_view& text) {
    const std::string_view field = text.substr(0, text.find('#'));
    text.remove_prefix(field.size() + 1);
    return field;
}

std::vector<std::string> AnswersTo(const std::string& request, size_t most, size_t mostInOne) {
    constexpr Report kReportOf[] = {Report::kStarted, Report::kRestarted, Report::kExited};
    constexpr uint32_t kTerm = 2;
    const auto type = NumberAt<uint32_t>(request, 0);
    if (type > kTerm) {
        return {};
    }
    std::string_view text(request.data() + kDataOffset, NumberAt<uint64_t>(request, kLengthOffset));
    TakeField(text);  // the count
    std::vector<std::string_view> names;
    while (!text.empty() && names.size() < most) {
        names.push_back(TakeField(text));
        text.remove_prefix(type == kTerm ? 0 : std::strlen("0#0#"));  // nobody has arguments
    }
    return ReportRecords(names, kReportOf[type], mostInOne);
}

}  // namespace

std::string PmRecord(uint32_t type, std::string_view payload) {
    std::string record(kRecordSize, '\0');
    const uint64_t length = payload.size();
    std::memcpy(record.data(), &type, sizeof(type));
    std::memcpy(record.data() + kLengthOffset, &length, sizeof(length));
    record.replace(kDataOffset, payload.size(), payload);
    return record;
}

std::vector<std::string> ReportRecords(const std::vector<std::string_view>& names, Report report,
                                       size_t mostInOne) {
    std::vector<std::string> records;
    for (size_t next = 0; next < names.size(); next += mostInOne) {
        const size_t end = std::min(next + mostInOne, names.size());
        std::string payload = std::to_string(end - next) + '#';
        for (size_t number = next; number < end; ++number) {
            payload.append(names[number]).append("#4711#");
            payload.append(1, static_cast<char>(report)).append("#0#0#");
        }
        records.push_back(PmRecord(kReportType, payload));
    }
    return records;
}

void AnswerAtOnce(size_t most) {
    GrpOwnerMemory::SetSendHook([most](const GrpOwnerMemory::SentRecord& record) {
        GrpOwnerMemory::ForgetSentRecords();
        for (const std::string& answer : AnswersTo(record.bytes, most, kMostReports)) {
            GrpOwnerMemory::Deliver(answer);
        }
    });
}

void AnswerOneByOne() {
    GrpOwnerMemory::SetSendHook([](const GrpOwnerMemory::SentRecord& record) {
        GrpOwnerMemory::ForgetSentRecords();
        std::thread([answers = AnswersTo(record.bytes, SIZE_MAX, 1)] {
            static std::mutex oneProcess;  // that is started at a time, whatever the requests
            for (const std::string& answer : answers) {
                const std::lock_guard<std::mutex> lock(oneProcess);
                std::this_thread::sleep_for(kSpawnTime);
                GrpOwnerMemory::Deliver(answer);
            }
        }).detach();
    });
}

}  // namespace GrpOwnerBench
