#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace GrpOwnerLinux {

/// Standard error as a log: it may be closed, or a pipe or a terminal that nobody reads, and must
/// stop nobody. Whoever finds it full waits a moment; from then on lines are lost at once, until
/// there is room again and their number is written. Any thread; the mutex keeps one line from
/// taking the room that another has found, and is left alone where a line finds room by itself.
class LogStream {
public:
    constexpr explicit LogStream(int fd) : fd_(fd) {}

    /// Writes head and text in one piece, which must not exceed PIPE_BUF bytes, or loses them.
    void Write(std::string_view head, std::string_view text);

private:
    /// What a line can be written to without a look whether there is room.
    enum class Kind { kOther, kSocket, kPipe, kNeverFull };
    static Kind KindOf(int fd);
    Kind KindNow();
    bool WriteAtOnce(std::string_view head, std::string_view text);
    bool HasRoom() const;
    bool WriteNow(std::string_view head, std::string_view text) const;

    const int fd_;
    std::mutex mutex_;
    std::atomic<unsigned long> lostLines_{0};  // since the last one that was written
    std::atomic<Kind> kind_{Kind::kOther};
    std::atomic<int64_t> lookedAt_{-1};  // on the clock of KindNow
};

/// Writes in one piece; a closed pipe fails the write and nothing else.
bool WriteWithoutSignal(int fd, std::string_view head, std::string_view text);

}  // namespace GrpOwnerLinux
