// What the system-state manager gets for the bytes that it sends, over the real socket.
#include <algorithm>
#include <cstring>

#include "client/virtual_file.h"
#include "platform/linux/host.h"
#include "tests/e2e/group.h"

namespace EndToEnd {

namespace {

using GrpOwnerClient::VirtualFile;
using Bytes = std::vector<uint8_t>;

// A record; behind the payload nobody may touch it.
Bytes With(Bytes record, const std::string& payload, uint64_t size) {
    std::memcpy(record.data(), &size, sizeof(size));
    std::copy(payload.begin(), payload.end(), record.begin() + 12);
    return record;
}

std::string Number(uint32_t number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

std::string Named(const std::string& name) {
    return Number(static_cast<uint32_t>(name.size())) + name;
}

}  // namespace

// Every command, friendly and hostile, in this order; the owner lives on.
TEST_F(Group, CommandsInRawBytes) {
    Manage();
    const auto owner = Boot(
        "  base: {command: probe}\n"
        "  top: {command: probe, autostart: false, depends_on: [base]}\n");
    auto file = VirtualFile::Open(GrpOwnerLinux::VirtualFilePath(Path("run"), "own"), kLong);
    ASSERT_TRUE(file) << file.GetError().message;
    const auto basePid = static_cast<uint32_t>(PidBehind(owner->Output(), "base  running   pid "));
    const Bytes blank(4000, 0x5a);
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
        const Bytes sent = With(blank, payload, payload.size());
        const auto answer = file->Ioctl(command, sent, kLong);
        EXPECT_EQ(answer->code, static_cast<int>(8 + expected.size()));
        EXPECT_EQ(answer->buffer, With(sent, expected, expected.size()));
    }
    for (const size_t length : {size_t{0}, size_t{1}, size_t{3999}, size_t{4001}, size_t{65536}}) {
        const auto answer = file->Ioctl(6, Bytes(length), kLong);
        EXPECT_EQ(answer->code, -15794176) << length;
        EXPECT_EQ(answer->buffer, Bytes(length));
    }
    for (const uint32_t command : {0U, 2U, 8U, 9U}) {
        for (const uint64_t size : {uint64_t{3989}, UINT64_MAX}) {
            EXPECT_GE(file->Ioctl(command, With(blank, "9#", size), kLong)->code, 8) << command;
        }
    }
    EXPECT_EQ(Connect().List()->names, (std::vector<std::string>{"base", "top"}));
    EndAll(*owner);
}

}  // namespace EndToEnd
