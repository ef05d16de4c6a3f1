// What the system-state manager gets for the bytes that it sends, over the real socket.
#include <cstring>

#include "client/virtual_file.h"
#include "platform/linux/host.h"
#include "tests/e2e/group.h"

namespace EndToEnd {

namespace {

using GrpOwnerClient::VirtualFile;
using Bytes = std::vector<uint8_t>;

constexpr std::chrono::milliseconds kLong{60000};
constexpr size_t kRecord = 4000;
constexpr size_t kData = 12;
constexpr uint8_t kFill = 0x5a;  // behind the payload: nobody may touch it

Bytes Record(const std::string& payload, uint64_t size) {
    Bytes record(kRecord, kFill);
    const int32_t timeout = 60000;
    std::memcpy(record.data(), &size, sizeof(size));
    std::memcpy(record.data() + 8, &timeout, sizeof(timeout));
    std::memcpy(record.data() + kData, payload.data(), payload.size());
    return record;
}

std::string Number(uint32_t number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

std::string Named(const std::string& name) {
    return Number(static_cast<uint32_t>(name.size())) + name;
}

struct Answered {
    int code = 0;
    std::string payload;
};

// Checks that only the size and the payload of the client's buffer have changed.
Answered Give(VirtualFile& file, uint32_t command, const Bytes& sent) {
    const auto answer = file.Ioctl(command, sent, kLong);
    if (!answer) {
        ADD_FAILURE() << answer.GetError().message;
        return {};
    }
    if (sent.size() != kRecord) {
        EXPECT_EQ(answer->buffer, sent);
        return {answer->code, ""};
    }
    uint64_t size = 0;
    std::memcpy(&size, answer->buffer.data(), sizeof(size));
    Bytes expected = sent;
    std::memcpy(expected.data(), &size, sizeof(size));
    if (size > kRecord - kData) {
        ADD_FAILURE() << size << " bytes in a record";
        return {};
    }
    std::memcpy(expected.data() + kData, answer->buffer.data() + kData, size);
    EXPECT_EQ(answer->buffer, expected);
    return {answer->code, std::string(expected.begin() + kData,
                                      expected.begin() + kData + static_cast<ptrdiff_t>(size))};
}

}  // namespace

// Every command, friendly and hostile, in this order; the owner lives on.
TEST_F(Group, CommandsInRawBytes) {
    Manage();
    const auto owner =
        Own("  base: {command: probe}\n"
            "  top: {command: probe, autostart: false, depends_on: [base]}\n");
    ASSERT_TRUE(owner->Says("Done, 1 of 1")) << owner->Output();
    auto file = VirtualFile::Open(GrpOwnerLinux::VirtualFilePath(Path("run"), "own"), kLong);
    ASSERT_TRUE(file) << file.GetError().message;
    const auto basePid = static_cast<uint32_t>(PidBehind(owner->Output(), "base  running   pid "));
    const struct {
        uint32_t command;
        std::string payload;
        std::string answer;
    } commands[] = {
        {6, "", "1#base#top#"},
        {8, "2#base#2#top#0#", "1"},
        {8, "1#nobody#0#", "0"},
        {8, "1#base#3#", "0"},
        {8, "1025#", "1"},  // is not decoded: no entries, which is fine
        {9, Number(2) + Named("base") + Named("nobody"),
         "\1" + Number(2) + Named("nobody") + Number(UINT32_MAX) + Number(1) + Named("base") +
             Number(basePid) + Number(0)},
        {9, Number(3) + Named("base"), ""},
        {9, Number(1) + Number(4000) + "base", ""},
        {9, "", ""},
        {0, "1#top#0#1#-x#0#", "2#1#top#0#"},
        {0, "1#top#2#0#0#", "2#1#top#0#"},
        {0, "2#top#1#0#0#top#1#0#0#", "2#1#top#0#"},
        {0, "3#nobody#0#0#0#nobody#1#0#0#top#7#0#0#", "3#0#nobody#2#nobody#4#"},
        {0, "1024#", "2#0##2#"},
        {0, "1025#", "1#1#"},
        {0, "1#base#0#0#4#", "2#1#base#0#"},
        {0, "", "1#1#"},
        {2, "1", "0#"},
        {2, "abc", "0#"},
        {3, "", "1"},
        {4, "ignored", "1"},
        {1, "1", ""},
        {7, "1", ""},
        {4242, "1", ""},
        {5, "", "1"},
        // The pid is the last known one.
        {9, Number(1) + Named("base"),
         "\1" + Number(1) + Named("base") + Number(basePid) + Number(1)},
    };
    for (const auto& [command, payload, expected] : commands) {
        SCOPED_TRACE("command " + std::to_string(command) + ": " + payload);
        const Answered answered = Give(*file, command, Record(payload, payload.size()));
        EXPECT_EQ(answered.payload, expected);
        EXPECT_EQ(answered.code, static_cast<int>(8 + expected.size()));
    }
    for (const size_t length : {size_t{0}, size_t{1}, size_t{3999}, size_t{4001}, size_t{65536}}) {
        EXPECT_EQ(Give(*file, 6, Bytes(length)).code, -15794176) << length;
    }
    for (const uint32_t command : {0U, 2U, 8U, 9U}) {
        for (const uint64_t size : {uint64_t{3989}, UINT64_MAX}) {
            EXPECT_GE(Give(*file, command, Record("9#", size)).code, 8) << command;
        }
    }
    EXPECT_EQ(Give(*file, 6, Record("", 0)).payload, "1#base#top#");
    EndAll(*owner);
}

}  // namespace EndToEnd
