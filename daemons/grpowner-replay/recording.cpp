#include "daemons/grpowner-replay/recording.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "platform/portable/recording_fields.h"

namespace GrpOwnerReplay {

namespace {

using GrpOwnerRecording::kHead;
using GrpOwnerRecording::Unescape;

std::string_view TakeWord(std::string_view& rest) {
    const size_t end = rest.find(' ');
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    return word;
}

std::optional<int64_t> ToNumber(std::string_view text) {
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && number >= 0;
    return isNumber ? std::optional(number) : std::nullopt;
}

/// The whole lines of a file behind its first one.
class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) { isRecording_ = Take() == kHead; }

    bool IsRecording() const { return isRecording_; }
    size_t Number() const { return number_; }
    size_t Left() const { return rest_.size(); }

    std::optional<std::string_view> Take() {
        const size_t end = rest_.find('\n');
        if (end == rest_.npos) {
            return std::nullopt;
        }
        const std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        ++number_;
        return line;
    }

private:
    std::string_view rest_;
    size_t number_ = 0;
    bool isRecording_ = false;
};

constexpr struct {
    std::string_view name;
    Kind kind;
} kKinds[] = {{"in", Kind::kIn},   {"out", Kind::kOut}, {"ask", Kind::kAsk},
              {"got", Kind::kGot}, {"log", Kind::kLog}, {"steps", Kind::kStep}};

/// Reads entry after entry.
class Reader {
public:
    explicit Reader(Recording& recording) : recording_(recording) {}

    /// @return false when the line is no entry
    bool Read(std::string_view line, size_t number) {
        const auto passed = ToNumber(TakeWord(line));
        Entry entry;
        entry.number = number;
        entry.thread = Unescape(TakeWord(line));
        const std::string_view kind = TakeWord(line);
        if (!passed || *passed > INT64_MAX - time_.count() || kind.empty()) {
            return false;
        }
        time_ += std::chrono::nanoseconds(*passed);
        entry.time = time_;
        for (const auto& known : kKinds) {
            if (known.name == kind) {
                entry.kind = known.kind;
                Add(std::move(entry), line);
                return true;
            }
        }
        return ReadPlace(kind, line);
    }

private:
    bool ReadPlace(std::string_view kind, std::string_view rest) {
        const std::string name = Unescape(TakeWord(rest));
        if (kind == "environment") {
            recording_.environment[name] = Unescape(rest);
        } else if (kind == "path") {
            recording_.paths[name] = Unescape(rest);
        } else if (kind == "end") {
            recording_.isWhole = true;
        } else {
            return false;
        }
        return true;
    }

    void Add(Entry entry, std::string_view rest) {
        int& depth = depths_[entry.thread];
        if (entry.kind == Kind::kStep) {
            for (size_t place = 0; place < rest.size() && depth > 0; ++place) {
                entry.what = rest[place];
                recording_.entries.push_back(entry);
            }
            return;
        }
        entry.what = TakeWord(rest);
        if (entry.kind == Kind::kLog) {
            entry.fields.push_back(Unescape(rest));
            rest = {};
        }
        while (!rest.empty()) {
            entry.fields.push_back(Unescape(TakeWord(rest)));
        }
        depth += entry.kind == Kind::kIn ? 1 : entry.kind == Kind::kOut ? -1 : 0;
        recording_.entries.push_back(std::move(entry));
    }

    Recording& recording_;
    std::chrono::nanoseconds time_{0};
    std::map<std::string, int> depths_;  // what each thread is in
};

}  // namespace

Recording ReadRecording(std::string_view text) {
    Recording recording;
    Lines lines(text);
    if (!lines.IsRecording()) {
        recording.error = "it does not begin with \"" + std::string(kHead) + "\"";
        return recording;
    }
    Reader reader(recording);
    while (const auto line = lines.Take()) {
        if (!reader.Read(*line, lines.Number())) {
            recording.error = "line " + std::to_string(lines.Number()) + " is no entry";
            return recording;
        }
    }
    recording.dropped = lines.Left();
    return recording;
}

std::string ListRecording(std::string_view text) {
    std::string list;
    Lines lines(text);
    double seconds = 0;
    while (auto line = lines.Take()) {
        const auto passed = ToNumber(TakeWord(*line));
        seconds += static_cast<double>(passed.value_or(0)) / 1e9;
        char head[64];
        std::snprintf(head, sizeof(head), "%6zu %12.6f ", lines.Number(), seconds);
        list.append(head).append(*line).push_back('\n');
    }
    return list;
}

}  // namespace GrpOwnerReplay
