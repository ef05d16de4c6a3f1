#include "src/agent/query_serialization.h"

#include <algorithm>

#include "platform/secure_memory.h"

namespace ProcMgr::Serialization {

namespace {

class Writer {
public:
    Writer(char* data, size_t size) : begin_(data), next_(data), remaining_(size) {}

    bool Put(const void* source, size_t size) {
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

    bool PutNumber(uint32_t number) { return Put(&number, sizeof(number)); }

    size_t Written() const { return static_cast<size_t>(next_ - begin_); }

private:
    char* const begin_;
    char* next_;
    size_t remaining_;
};

class Reader {
public:
    Reader(const char* data, size_t size) : next_(data), remaining_(size) {}

    bool GetNumber(uint32_t& number) {
        if (remaining_ < sizeof(number)) {
            return false;
        }
        if (memcpy_s(&number, sizeof(number), next_, sizeof(number)) != 0) {
            return false;
        }
        Advance(sizeof(number));
        return true;
    }

    bool GetText(size_t size, std::string& text) {
        if (remaining_ < size) {
            return false;
        }
        text.assign(next_, size);
        Advance(size);
        return true;
    }

private:
    void Advance(size_t size) {
        next_ += size;
        remaining_ -= size;
    }

    const char* next_;
    size_t remaining_;
};

}  // namespace

bool SerializeMessage(const std::vector<std::string>& names, Message::RequestMsg& record) {
    record = {};
    record.type = static_cast<uint32_t>(Message::RequestType::QUERY_APP_STATE);
    Writer writer(record.data, sizeof(record.data));
    bool fits = writer.PutNumber(static_cast<uint32_t>(names.size()));
    for (const std::string& name : names) {
        fits = fits && writer.PutNumber(static_cast<uint32_t>(name.size())) &&
               writer.Put(name.data(), name.size());
    }
    record.length = writer.Written();
    return fits;
}

bool DeserializeMessage(const Message::RequestMsg& record,
                        std::map<std::string, uint32_t>& states) {
    Reader reader(record.data, std::min<uint64_t>(record.length, sizeof(record.data)));
    uint32_t count = 0;
    if (!reader.GetNumber(count)) {
        return false;
    }
    for (; count > 0; --count) {
        uint32_t length = 0;
        std::string name;
        uint32_t state = 0;
        if (!reader.GetNumber(length) || length == 0 || !reader.GetText(length, name) ||
            !reader.GetNumber(state)) {
            return false;
        }
        states[name] = state;
    }
    return true;
}

}  // namespace ProcMgr::Serialization
