#include "daemons/procmgrd/output_log.h"

#include <algorithm>
#include <utility>

#include "platform/linux/utf8.h"

namespace ProcMgrDaemon {

namespace {

// Where a text that is too long is cut: not within a character.
size_t CutOf(std::string_view text) {
    size_t cut = OutputRing::kLongestLine;
    const auto isWithin = [text](size_t place) {
        return (static_cast<uint8_t>(text[place]) & 0xC0) == 0x80;
    };
    for (int back = 0; back < 3 && isWithin(cut); ++back) {
        --cut;
    }
    return isWithin(cut) ? OutputRing::kLongestLine : cut;
}

}  // namespace

OutputLog::OutputLog(Journal& journal, std::shared_ptr<const ApplicationId> application,
                     size_t bytes)
    : journal_(journal),
      application_(std::move(application)),
      entry_(journal.Enter(*this)),
      id_(journal.TakeSequence()),
      ring_(journal.Budget(), bytes) {}

OutputLog::~OutputLog() {
    journal_.Leave(entry_);
}

void OutputLog::Take(std::string_view bytes, pid_t pid) {
    const int64_t time = Nanoseconds(std::chrono::steady_clock::now());
    for (size_t end = 0; (end = bytes.find('\n')) != std::string_view::npos;) {
        std::string_view line = bytes.substr(0, end);
        if (!begun_.empty()) {
            begun_ += line;
            line = begun_;
        }
        PushPieces(line, time, pid);
        Push(line, false, time, pid);
        begun_.clear();
        bytes.remove_prefix(end + 1);
    }
    if (bytes.empty()) {
        return;
    }
    begunBy_ = pid;
    begun_ += bytes;
    std::string_view rest = begun_;
    PushPieces(rest, time, pid);
    begun_.erase(0, begun_.size() - rest.size());
}

// What is longer than a line may be; the rest is left.
void OutputLog::PushPieces(std::string_view& text, int64_t time, pid_t pid) {
    while (text.size() > OutputRing::kLongestLine) {
        const size_t cut = CutOf(text);
        Push(text.substr(0, cut), true, time, pid);
        text.remove_prefix(cut);
    }
}

void OutputLog::Push(std::string_view text, bool isCut, int64_t time, pid_t pid) {
    OutputLine line;
    line.sequence = lastSequence_ = journal_.TakeSequence();
    line.time = time;
    line.pid = pid;
    line.isCut = isCut;
    ring_.Push(line, text);
    journal_.PutFirst(entry_);
}

void OutputLog::EndLine(bool goesOn) {
    if (!begun_.empty()) {
        Push(begun_, goesOn, Nanoseconds(std::chrono::steady_clock::now()), begunBy_);
        std::string().swap(begun_);
    }
}

std::string OutputLog::LastLines(size_t lines) const {
    std::string text;
    OutputLine line;
    OutputRing::Reader reader(ring_, ring_.End() - std::min<uint64_t>(lines, ring_.End()));
    for (; !reader.IsAtEnd(); reader.Advance()) {
        reader.Read(line);
        text.append(text.empty() ? "    " : "\n    ");
        // What a program prints must not be able to steer the terminal of who reads the log.
        text += GrpOwnerLinux::PrintableLine(line.text);
    }
    return text;
}

}  // namespace ProcMgrDaemon
