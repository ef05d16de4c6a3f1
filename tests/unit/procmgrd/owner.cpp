#include "tests/unit/procmgrd/owner.h"

#include <cstring>
#include <stdexcept>

#include "daemons/procmgrd/field_reader.h"

namespace ProcMgrTest {

using GrpOwnerClient::Connection;
using GrpOwnerClient::Patience;
using GrpOwnerTest::Bytes;
using GrpOwnerTest::PipeFrame;

namespace {

constexpr std::chrono::seconds kPatience{30};

template <typename Value>
Value At(std::string_view bytes, size_t offset) {
    Value value;
    if (bytes.size() < offset + sizeof(value)) {
        throw std::runtime_error("cut short");
    }
    std::memcpy(&value, &bytes[offset], sizeof(value));
    return value;
}

}  // namespace

std::string Launches(const Names& names) {
    std::string text = std::to_string(names.size()) + "#";
    for (const std::string& name : names) {
        text += name + "#0#0#";
    }
    return text;
}

Owner::Owner(const std::string& runDirectory, Silent)
    : connection_(std::move(*Connection::Open(runDirectory + "/PROCMGR.pipe", kPatience))) {}

Owner::Owner(const std::string& runDirectory, const std::string& name)
    : Owner(runDirectory, Silent{}) {
    Say(PipeFrame(PipeFrameKind::kHello, 0, GrpOwnerTest::HelloBytes(name)));
    const auto frame = Receive();
    if (!frame || frame->kind != PipeFrameKind::kWelcome) {
        throw std::runtime_error("no welcome");
    }
    welcome_ = At<int32_t>(frame->payload, 0);
}

void Owner::Say(const std::string& packet) {
    if (const auto error =
            connection_.Send(packet.data(), packet.size(), {}, Patience{kPatience, -1})) {
        throw std::runtime_error(error->message);
    }
}

void Owner::Send(RecordType type, const std::string& payload) {
    Say(PipeFrame(PipeFrameKind::kRequest, 0, GrpOwnerTest::RecordBytes(type, payload)));
}

std::optional<Owner::Frame> Owner::Receive() {
    const auto packet = connection_.Receive(16 * 1024, Patience{kPatience, -1});
    if (!packet) {
        if (packet.GetError().kind != GrpOwnerClient::ErrorKind::kUnreachable) {
            throw std::runtime_error(packet.GetError().message);
        }
        return std::nullopt;
    }
    const std::string bytes(packet->begin(), packet->end());
    const auto header = At<GrpOwnerLinux::PipeFrameHeader>(bytes, 0);
    if (header.magic != GrpOwnerLinux::kPipeMagic || bytes.size() != sizeof(header) + header.size) {
        throw std::runtime_error("not a frame");
    }
    return Frame{static_cast<PipeFrameKind>(header.kind), bytes.substr(sizeof(header))};
}

// An answer to a call or to a query, or reports.
void Owner::TakeNext() {
    const auto frame = Receive();
    if (!frame) {
        throw std::runtime_error("hung up");
    }
    if (frame->kind == PipeFrameKind::kProcess) {
        const auto process = At<GrpOwnerLinux::PipeProcess>(frame->payload, 0);
        processes_[static_cast<pid_t>(process.pid)] = frame->payload.substr(sizeof(process));
        return;
    }
    if (frame->kind == PipeFrameKind::kAnswer) {
        answer_ = frame->payload;
        return;
    }
    const auto record = At<ProcMgrDaemon::Record>(frame->payload, 0);
    if (static_cast<RecordType>(record.type) == RecordType::kQueryAnswer) {
        state_ = At<uint32_t>(record.Payload(), 8 + At<uint32_t>(record.Payload(), 4));
        return;
    }
    ProcMgrDaemon::FieldReader fields(record.Payload());
    lastBatch_ = fields.Count();
    for (size_t left = lastBatch_; left > 0; --left) {
        Report report{fields.Text(), fields.Number(), static_cast<Kind>(fields.Number()),
                      fields.Number()};
        if (fields.Number() != 0 || !fields.Good()) {
            throw std::runtime_error("no report, or one that uses the spare number");
        }
        told_.push_back(std::move(report));
    }
}

std::string Owner::Call(RecordType type, const std::string& payload) {
    Say(PipeFrame(PipeFrameKind::kCall, 7, GrpOwnerTest::RecordBytes(type, payload)));
    for (answer_.reset(); !answer_;) {
        TakeNext();
    }
    return *answer_;
}

Report Owner::Next() {
    while (told_.empty()) {
        TakeNext();
    }
    const Report report = told_.front();
    told_.pop_front();
    return report;
}

uint32_t Owner::StateOf(const std::string& name) {
    Send(RecordType::kQuery, Bytes(uint32_t{1}, Bytes(static_cast<uint32_t>(name.size()), name)));
    for (state_.reset(); !state_;) {
        TakeNext();
    }
    return *state_;
}

bool Owner::NothingMore() {
    (void)StateOf("x");  // only the answer is awaited
    return told_.empty();
}

void Owner::AwaitHangUp() {
    while (Receive()) {
    }
}

}  // namespace ProcMgrTest
