#include "tests/support/pm_records.h"

#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace GrpOwnerTest {

namespace {

constexpr size_t kRecordSize = 3984;
constexpr size_t kDataOffset = 16;
constexpr size_t kDataSize = 3964;

[[noreturn]] void Broken(const std::string& what) {
    throw std::runtime_error("broken record: " + what);
}

/// Takes "#"-terminated fields off the front of a text.
class Fields {
public:
    explicit Fields(const std::string& text) : text_(text) {}
    std::string Text() {
        std::string field;
        if (!std::getline(text_, field, '#') || text_.eof()) {
            Broken("it runs dry");
        }
        return field;
    }
    uint32_t Number() { return static_cast<uint32_t>(std::stoul(Text())); }
    std::vector<std::string> List() {
        std::vector<std::string> list(Number());
        for (std::string& entry : list) {
            entry = Text();
        }
        return list;
    }
    bool IsAtEnd() { return text_.peek() == EOF; }

private:
    std::istringstream text_;
};

PmAppRequest DecodeApp(Fields& fields, bool withArguments) {
    PmAppRequest app;
    app.name = fields.Text();
    if (!withArguments) {
        return app;
    }
    app.arguments = fields.List();
    for (uint32_t left = fields.Number(); left > 0; --left) {
        const int key = static_cast<int>(fields.Number());
        app.parameters[key] = fields.List();
    }
    return app;
}

std::string Payload(const std::string& bytes, uint32_t& type) {
    if (bytes.size() != kRecordSize) {
        Broken(std::to_string(bytes.size()) + " bytes");
    }
    uint64_t length = 0;
    std::memcpy(&type, bytes.data(), sizeof(type));
    std::memcpy(&length, bytes.data() + 8, sizeof(length));
    if (length > kDataSize) {
        Broken("length " + std::to_string(length));
    }
    const size_t end = kDataOffset + static_cast<size_t>(length);
    if (bytes.find_first_not_of('\0', end) != std::string::npos) {
        Broken("bytes other than zero behind the payload");
    }
    return bytes.substr(kDataOffset, static_cast<size_t>(length));
}

}  // namespace

PmRequest DecodeRequest(const std::string& bytes) {
    PmRequest request;
    const std::string payload = Payload(bytes, request.type);
    if (request.type == kQuery) {
        return request;
    }
    Fields fields(payload);
    uint32_t pieces = fields.Number();
    switch (request.type) {
        case kStart:
        case kRestart:
        case kTerm:
            for (; pieces > 0; --pieces) {
                request.apps.push_back(DecodeApp(fields, request.type != kTerm));
            }
            break;
        case kBaseState:
            request.baseState = fields.Number();
            break;
        case kLoad:
        case kReload:
            request.path = fields.Text();
            for (uint32_t left = fields.Number(); left > 0; --left) {
                const std::string key = fields.Text();
                request.match[key] = fields.Text();
            }
            break;
        default:
            Broken("type " + std::to_string(request.type));
    }
    if (!fields.IsAtEnd()) {
        Broken("more than announced");
    }
    return request;
}

std::string EncodeRecord(uint32_t type, const std::string& payload) {
    std::string bytes(kRecordSize, '\0');
    const uint64_t length = payload.size();
    if (length > kDataSize) {
        Broken("payload of " + std::to_string(length) + " bytes");
    }
    std::memcpy(bytes.data(), &type, sizeof(type));
    std::memcpy(bytes.data() + 8, &length, sizeof(length));
    bytes.replace(kDataOffset, payload.size(), payload);
    return bytes;
}

std::string EncodeReports(const std::vector<PmReport>& reports) {
    std::string payload = std::to_string(reports.size()) + "#";
    for (const PmReport& report : reports) {
        payload += report.name + "#";
        for (const uint32_t number : {report.pid, report.type, report.reason, report.spare}) {
            payload += std::to_string(number) + "#";
        }
    }
    return EncodeRecord(kReports, payload);
}

std::string EncodeQueryAnswer(const std::vector<std::pair<std::string, uint32_t>>& states) {
    std::string payload;
    const auto append = [&payload](uint32_t number) {
        payload.append(reinterpret_cast<const char*>(&number), sizeof(number));
    };
    append(static_cast<uint32_t>(states.size()));
    for (const auto& [name, state] : states) {
        append(static_cast<uint32_t>(name.size()));
        payload += name;
        append(state);
    }
    return EncodeRecord(kQueryAnswer, payload);
}

}  // namespace GrpOwnerTest
