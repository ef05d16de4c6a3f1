#pragma once
// Fields of fixed binary records: every length is checked before a byte moves.

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/secure_memory.h"

namespace ProcMgr {

/// Writes fields one after the other, without alignment, into a record's data area.
class ByteWriter {
public:
    ByteWriter(char* data, size_t size) : begin_(data), next_(data), remaining_(size) {}

    /// @return false, nothing is advanced, when the field does not fit
    [[nodiscard]] bool Put(const void* source, size_t size) {
        if (size == 0) {
            return true;
        }
        if (memcpy_s(next_, remaining_, source, size) != 0) {
            return false;
        }
        next_ += size;
        remaining_ -= size;
        return true;
    }

    [[nodiscard]] bool PutNumber(uint32_t number) { return Put(&number, sizeof(number)); }

    /// The length as a number, then the bytes.
    [[nodiscard]] bool PutText(const std::string& text) {
        return PutNumber(static_cast<uint32_t>(text.size())) && Put(text.data(), text.size());
    }

    size_t Written() const { return static_cast<size_t>(next_ - begin_); }

private:
    char* const begin_;
    char* next_;
    size_t remaining_;
};

/// Reads fields one after the other. A field beyond the end is refused and nothing is advanced.
class ByteReader {
public:
    ByteReader(const char* data, size_t size) : next_(data), remaining_(size) {}

    [[nodiscard]] bool GetNumber(uint32_t& number) {
        if (remaining_ < sizeof(number) ||
            memcpy_s(&number, sizeof(number), next_, sizeof(number)) != 0) {
            return false;
        }
        Advance(sizeof(number));
        return true;
    }

    [[nodiscard]] bool GetText(size_t size, std::string& text) {
        if (remaining_ < size) {
            return false;
        }
        text.assign(next_, size);
        Advance(size);
        return true;
    }

    size_t Remaining() const { return remaining_; }

private:
    void Advance(size_t size) {
        next_ += size;
        remaining_ -= size;
    }

    const char* next_;
    size_t remaining_;
};

}  // namespace ProcMgr
