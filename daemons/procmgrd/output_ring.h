#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ProcMgrDaemon {

/// A line of output, or a piece of one.
struct OutputLine {
    uint64_t sequence = 0;
    int64_t time = 0;  // nanoseconds of the monotonic clock
    pid_t pid = 0;
    bool isCut = false;  // the line goes on in the next piece
    std::string text;
};

/// What all rings together may take. Small rings are granted beyond it: nobody's last words are
/// lost to the chatter of others.
struct OutputBudget {
    int64_t bytesLeft = 0;
};

/// The newest lines of one application. Takes no memory before the first one and grows with what
/// comes, up to its limit; then the oldest lines give way. Lines are numbered from 0, so that a
/// reader who comes back with a number finds his place, or learns how many he has missed.
class OutputRing {
public:
    static constexpr size_t kLongestLine = 4096;
    static constexpr size_t kLeastBytes = 8 * 1024;

    /// @param most bytes; less than the least counts as the least
    OutputRing(OutputBudget& budget, size_t most);
    ~OutputRing();
    OutputRing(const OutputRing&) = delete;
    OutputRing& operator=(const OutputRing&) = delete;

    /// @param line its text apart, at most kLongestLine
    void Push(const OutputLine& line, std::string_view text);

    uint64_t First() const { return first_; }  // the oldest that is there
    uint64_t End() const { return end_; }      // the next that will come

    /// Reads lines forward from a number. Valid until the next Push.
    class Reader {
    public:
        /// @param number from First() to End()
        Reader(const OutputRing& ring, uint64_t number);

        bool IsAtEnd() const { return number_ == ring_->end_; }
        uint64_t Number() const { return number_; }

        // Only when not at the end.
        uint64_t Sequence() const;
        void Read(OutputLine& line) const;
        void Advance();

    private:
        const OutputRing* ring_;
        uint64_t number_;
        size_t place_;  // counted from the oldest byte
    };

private:
    struct Header;

    // Of a place that may lie one turn on.
    size_t Wrapped(size_t place) const {
        return place < bytes_.size() ? place : place - bytes_.size();
    }
    void MakeRoom(size_t size);
    bool Grow(size_t needed);
    void DropOldest();
    void Append(const void* data, size_t size);
    void CopyOut(size_t place, void* data, size_t size) const;
    Header HeaderAt(size_t place) const;

    OutputBudget& budget_;
    const size_t most_;
    std::vector<char> bytes_;
    size_t begin_ = 0;  // of the oldest byte
    size_t used_ = 0;
    uint64_t first_ = 0;
    uint64_t end_ = 0;
};

}  // namespace ProcMgrDaemon
