#include "daemons/procmgrd/pm_wire.h"

#include <cstring>

#include "daemons/procmgrd/field_reader.h"

namespace ProcMgrDaemon {

namespace {

Parameters ReadParameters(FieldReader& fields) {
    Parameters parameters;
    for (size_t left = fields.Count(); left > 0 && fields.Good(); --left) {
        const int index = fields.Number<int>();
        parameters[index] = fields.Texts();
    }
    return parameters;
}

LaunchRequest ReadLaunch(FieldReader& fields) {
    LaunchRequest request;
    request.name = fields.Text();
    request.arguments = fields.Texts();
    request.parameters = ReadParameters(fields);
    return request;
}

// All pieces of a record, read by `read`; nothing unless they fill it exactly.
template <typename Read>
auto ReadPieces(std::string_view payload, Read read)
    -> std::optional<std::vector<decltype(read(std::declval<FieldReader&>()))>> {
    std::vector<decltype(read(std::declval<FieldReader&>()))> pieces;
    FieldReader fields(payload);
    for (size_t left = fields.Count(); left > 0 && fields.Good(); --left) {
        pieces.push_back(read(fields));
    }
    if (!fields.Done()) {
        return std::nullopt;
    }
    return pieces;
}

template <typename Read>
auto ReadOnePiece(std::string_view payload, Read read)
    -> std::optional<decltype(read(std::declval<FieldReader&>()))> {
    auto pieces = ReadPieces(payload, read);
    if (!pieces || pieces->size() != 1) {
        return std::nullopt;
    }
    return std::move(pieces->front());
}

bool TakeNumber(std::string_view& rest, uint32_t& number) {
    if (rest.size() < sizeof(number)) {
        return false;
    }
    std::memcpy(&number, rest.data(), sizeof(number));
    rest.remove_prefix(sizeof(number));
    return true;
}

void AppendNumber(std::string& bytes, uint32_t number) {
    char raw[sizeof(number)];
    std::memcpy(raw, &number, sizeof(number));
    bytes.append(raw, sizeof(raw));
}

Record MakeRecord(RecordType type, std::string_view payload) {
    Record record{};
    record.type = static_cast<uint32_t>(type);
    record.length = payload.size();
    std::memcpy(record.data, payload.data(), payload.size());
    return record;
}

Record MakeStates(uint32_t count, const std::string& entries) {
    std::string payload;
    AppendNumber(payload, count);
    return MakeRecord(RecordType::kQueryAnswer, payload + entries);
}

}  // namespace

std::optional<Record> ReadRecord(std::string_view bytes) {
    Record record{};
    if (bytes.size() != kRecordBytes) {
        return std::nullopt;
    }
    std::memcpy(&record, bytes.data(), kRecordBytes);
    if (record.length > kDataBytes) {
        return std::nullopt;
    }
    return record;
}

std::optional<std::vector<LaunchRequest>> DecodeLaunches(std::string_view payload) {
    return ReadPieces(payload, ReadLaunch);
}

std::optional<std::vector<std::string>> DecodeTerminations(std::string_view payload) {
    return ReadPieces(payload, [](FieldReader& fields) { return fields.Text(); });
}

std::optional<uint32_t> DecodeBaseState(std::string_view payload) {
    return ReadOnePiece(payload, [](FieldReader& fields) { return fields.Number(); });
}

std::optional<ExecutionReport> DecodeExecution(std::string_view payload) {
    return ReadOnePiece(payload, [](FieldReader& fields) {
        ExecutionReport report{fields.Text(), {}};
        for (uint32_t& number : report.numbers) {
            number = fields.Number();
        }
        return report;
    });
}

std::optional<ConfigurationRequest> DecodeConfiguration(std::string_view payload) {
    return ReadOnePiece(payload, [](FieldReader& fields) {
        ConfigurationRequest request;
        request.path = fields.Text();
        for (size_t left = fields.Count(); left > 0 && fields.Good(); --left) {
            const std::string key = fields.Text();
            request.matchData[key] = fields.Text();
        }
        return request;
    });
}

std::optional<std::vector<std::string>> DecodeQuery(std::string_view payload) {
    std::vector<std::string> names;
    uint32_t count = 0;
    bool good = TakeNumber(payload, count);
    for (; good && count > 0; --count) {
        uint32_t length = 0;
        good = TakeNumber(payload, length) && length > 0 && length <= payload.size();
        if (good) {
            names.emplace_back(payload.substr(0, length));
            payload.remove_prefix(length);
        }
    }
    if (!good || !payload.empty()) {
        return std::nullopt;
    }
    return names;
}

size_t EncodeReports(const std::deque<Report>& reports, Record& record) {
    constexpr size_t kCountField = 5;  // "1999#"
    std::string text;
    size_t count = 0;
    for (const Report& report : reports) {
        std::string piece = report.name + '#';
        for (const uint32_t number :
             {report.pid, static_cast<uint32_t>(report.kind), report.reason, 0U}) {
            piece += std::to_string(number) + '#';
        }
        if (count == kMaxReports || kCountField + text.size() + piece.size() > kDataBytes) {
            break;
        }
        text += piece;
        ++count;
    }
    record = MakeRecord(RecordType::kReports, std::to_string(count) + '#' + text);
    return count;
}

std::vector<Record> EncodeStates(const std::vector<std::pair<std::string, QueriedState>>& states) {
    std::vector<Record> records;
    std::string entries;
    uint32_t count = 0;
    for (const auto& [name, state] : states) {
        std::string entry;
        AppendNumber(entry, static_cast<uint32_t>(name.size()));
        entry += name;
        AppendNumber(entry, static_cast<uint32_t>(state));
        if (sizeof(count) + entry.size() > kDataBytes) {
            continue;  // a name that fills a query alone; nothing of ours is called so
        }
        if (sizeof(count) + entries.size() + entry.size() > kDataBytes) {
            records.push_back(MakeStates(count, entries));
            entries.clear();
            count = 0;
        }
        entries += entry;
        ++count;
    }
    if (count > 0) {
        records.push_back(MakeStates(count, entries));
    }
    return records;
}

}  // namespace ProcMgrDaemon
