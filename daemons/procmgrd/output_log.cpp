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

void OutputLog::Take(OutputStream stream, std::string_view bytes, pid_t pid) {
    const int64_t time = Nanoseconds(std::chrono::steady_clock::now());
    std::string& begun = begun_[static_cast<size_t>(stream)];
    for (size_t end = 0; (end = bytes.find('\n')) != std::string_view::npos;) {
        std::string_view line = bytes.substr(0, end);
        if (!begun.empty()) {
            begun += line;
            line = begun;
        }
        PushPieces(stream, line, time, pid);
        Push(stream, line, false, time, pid);
        begun.clear();
        bytes.remove_prefix(end + 1);
    }
    if (bytes.empty()) {
        return;
    }
    begunBy_ = pid;
    begun += bytes;
    std::string_view rest = begun;
    PushPieces(stream, rest, time, pid);
    begun.erase(0, begun.size() - rest.size());
}

// What is longer than a line may be; the rest is left.
void OutputLog::PushPieces(OutputStream stream, std::string_view& text, int64_t time, pid_t pid) {
    while (text.size() > OutputRing::kLongestLine) {
        const size_t cut = CutOf(text);
        Push(stream, text.substr(0, cut), true, time, pid);
        text.remove_prefix(cut);
    }
}

void OutputLog::Push(OutputStream stream, std::string_view text, bool isCut, int64_t time,
                     pid_t pid) {
    OutputLine line;
    line.sequence = lastSequence_ = journal_.TakeSequence();
    line.time = time;
    line.pid = pid;
    line.stream = stream;
    line.isCut = isCut;
    ring_.Push(line, text);
    journal_.PutFirst(entry_);
}

void OutputLog::EndLines(bool goesOn) {
    for (const OutputStream stream : {OutputStream::kOut, OutputStream::kErr}) {
        std::string& begun = begun_[static_cast<size_t>(stream)];
        if (!begun.empty()) {
            Push(stream, begun, goesOn, Nanoseconds(std::chrono::steady_clock::now()), begunBy_);
            std::string().swap(begun);
        }
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
