// Any bytes as any command: nothing is checked on the way.

#include <charconv>
#include <cstring>
#include <limits>

#include "client/grpctl/group/session.h"
#include "client/grpctl/text/hex.h"
#include "client/grpctl/text/input.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/typed/verb_runs.h"
#include "client/ss_wire.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using Bytes = std::vector<uint8_t>;
namespace Wire = GrpOwnerClient::SsWire;

uint32_t ToCommand(const std::string& text) {
    uint32_t command = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, command);
    if (error != std::errc() || rest != end) {
        throw Failure{kWrongUsage, GrpOwnerLinux::Quote(text) + " is not a command's number", "",
                      "0 change, 2 set state, 3 reload, 4 dump, 5 stop all, 6 list, 8 verify, "
                      "9 query, or any other"};
    }
    return command;
}

// In the order file, text, hexadecimal digits.
Bytes Collect(const Options& options) {
    Bytes bytes = options.inputFile.empty() ? Bytes() : ReadInput(options.inputFile);
    if (options.inputText) {
        bytes.insert(bytes.end(), options.inputText->begin(), options.inputText->end());
    }
    for (size_t index = 1; index < options.operands.size(); ++index) {
        if (!AppendHex(options.operands[index], bytes)) {
            throw Failure{
                kWrongUsage,
                GrpOwnerLinux::Quote(options.operands[index]) + " is no row of hexadecimal digits",
                "", "write two for each byte: 0a1b"};
        }
    }
    return bytes;
}

Bytes ToRecord(const Bytes& data, const Options& options) {
    if (data.size() > Wire::kDataSize) {
        throw Failure{kWrongUsage,
                      "a record has room for " + std::to_string(Wire::kDataSize) +
                          " bytes, not for " + std::to_string(data.size()),
                      "", "leave --record out to send the bytes as they are"};
    }
    Bytes record(Wire::kRecordSize);
    const uint64_t size = options.claimedSize.value_or(data.size());
    const auto timeout = static_cast<int32_t>(options.Timeout().count());
    std::memcpy(record.data(), &size, sizeof(size));
    std::memcpy(record.data() + Wire::kTimeoutOffset, &timeout, sizeof(timeout));
    std::copy(data.begin(), data.end(), record.begin() + Wire::kDataOffset);
    return record;
}

}  // namespace

int RunRaw(const Options& options) {
    const uint32_t command = ToCommand(options.operands.front());
    if (options.claimedSize && !options.isRecord) {
        throw Failure{kWrongUsage, "--size goes with --record", "", ""};
    }
    Bytes bytes = Collect(options);
    if (options.isRecord) {
        bytes = ToRecord(bytes, options);
    }
    Session session(options);
    // The owner may take the time-out that the bytes name, three times.
    const std::chrono::milliseconds limit =
        options.isRecord ? 3 * options.Timeout() + GrpOwnerClient::SsClient::kMargin
                         : options.Timeout();
    const GrpOwnerClient::IoctlAnswer answer = Need(session.Client().Raw(command, bytes, limit));
    if (options.format == Format::kJson) {
        Json json = NewObject();
        json["command"] = command;
        json["code"] = answer.code;
        json["bytes"] = ToHex(answer.buffer);
        PutJson(json);
    } else {
        Put("code " + std::to_string(answer.code) + ", " + std::to_string(answer.buffer.size()) +
            " bytes\n" + HexDump(answer.buffer));
    }
    return answer.code < 0 ? kFailed : kDone;
}

}  // namespace GrpCtl
