// Records of either wire, good and hostile, taken apart.

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "client/grpctl/records/record_decoder.h"

namespace GrpCtl {
namespace {

std::string Number(uint64_t number, size_t size = 4) {
    return {reinterpret_cast<const char*>(&number), size};
}

constexpr uint64_t kTrue = UINT64_MAX - 1;  // the size is as it is

std::string Pm(uint32_t type, const std::string& payload, uint64_t length = kTrue) {
    std::string record =
        Number(type) + Number(0) + Number(length == kTrue ? payload.size() : length, 8) + payload;
    record.resize(3984);
    return record;
}

std::string Ss(const std::string& payload, uint64_t size = kTrue) {
    std::string record = Number(size == kTrue ? payload.size() : size, 8) + Number(5000) + payload;
    record.resize(4000);
    return record;
}

// What is read of the data, and what is wrong.
std::string InWords(const DecodedRecord& record) {
    std::string words;
    for (const DecodedField& field : record.fields) {
        if (field.offset >= 12 && field.type != "zeros") {
            words += std::to_string(field.offset) + " " + field.name + "=" +
                     (field.number ? std::to_string(*field.number) : field.bytes) +
                     (field.meaning.empty() ? "" : "/" + field.meaning) + " ";
        }
    }
    for (const DecodedProblem& problem : record.problems) {
        words += "! " + std::to_string(problem.offset) + " " + problem.what + " ";
    }
    return words;
}

TEST(GrpctlDecode, SaysWhatStandsWhereAndWhatIsWrong) {
    const struct {
        std::string bytes;
        const char* shape;
        const char* words;
    } rows[] = {
        {Pm(2, "2#a#b#"), "", "16 applications=2 18 applications[0]=a 20 applications[1]=b "},
        {Pm(4, "1#cam#7#4#1#0#"), "",
         "16 reports=1 18 reports[0].name=cam 22 reports[0].pid=7 "
         "24 reports[0].kind=4/TERMINATED_ABNORMAL_EXIT "
         "26 reports[0].reason=1/start-time I/O failure 28 reports[0].spare=0 "},
        {Pm(10, Number(1) + Number(1) + "a" + Number(1)), "",
         "16 applications=1 20 applications[0].name length=1 24 applications[0].name=a "
         "25 applications[0].state=1/not running "},
        {Pm(9, Number(2) + Number(4000) + "a"), "",
         "16 applications=2 20 applications[0] length=4000 24 not read=a "
         "! 20 applications[0] has 4000 bytes, there are 1 "},
        {Pm(9, "abc"), "", "16 not read=abc ! 16 applications needs 4 bytes, there are 3 "},
        {Pm(4, "2000#"), "",
         "16 reports=2000 ! 16 reports is 2000, at most 1999 is good "
         "! 21 the data ends behind 0 of 2000 reports "},
        {Pm(2, "1#a", 3), "",
         "16 applications=1 18 applications[0]=a ! 18 applications[0] does not end in # "},
        {Pm(2, "1#a#x", 5), "",
         "16 applications=1 18 applications[0]=a 20 not read=x ! 20 1 bytes behind the last "
         "field "},
        {Pm(8, "x"), "", "16 payload=x ! 0 no record has the type 8 "},
        {Pm(3, "1#2#", UINT64_MAX), "",
         "16 reports=1 18 reports[0]=2/TERMINATING ! 8 length is 18446744073709551615, there is "
         "room "
         "for 3964 ! 20 3960 bytes behind the last field "},
        {Ss("1#a#1#0#1#-1#1#x#"), "change",
         "12 applications=1 14 applications[0].name=a 16 applications[0].option=1/TERM "
         "18 applications[0].arguments=0 20 applications[0].parameters=1 "
         "22 applications[0].parameters[0].index=-1 25 applications[0].parameters[0].values=1 "
         "27 applications[0].parameters[0].values[0]=x "},
        {Ss("1#a#9#99999999999999999999#"), "change",
         "12 applications=1 14 applications[0].name=a 16 applications[0].option=9 "
         "18 applications[0].arguments=99999999999999999999 "
         "! 16 applications[0].option is 9, at most 2 is good "
         "! 18 applications[0].arguments is no number "},
        {Ss("2#1#a#2#"), "change-answer",
         "12 pieces=2 14 result=1/yes 16 results[0].name=a 18 results[0].state=2/START_FAILED "},
        {Ss("0#1#"), "change-answer",
         "12 pieces=0 14 not read=1# ! 12 no pieces: the result is one "},
        {Ss("1"), "set-state", "12 state=1/WORKING "},
        {Ss("-3#"), "set-state", "12 state=-3 "},
        {Ss(""), "set-state", "12 state= ! 12 state is no number "},
        {Ss("1#a#b#"), "list-answer", "12 result=1/yes 14 applications[0]=a 16 applications[1]=b "},
        {Ss("\1" + Number(0)), "query-answer", "12 result=1/yes 13 applications=0 "},
        {Ss("0#", 3989), "change",
         "12 applications=0 ! 0 size is 3989, there is room for 3988 ! 14 3986 bytes behind the "
         "last field "},
    };
    for (const auto& row : rows) {
        const auto record = DecodeRecord(row.bytes, row.shape);
        ASSERT_TRUE(record) << row.words;
        EXPECT_EQ(InWords(*record), row.words);
    }
}

// Whatever the bytes are: each of them is told once, and nothing is read beside them.
TEST(GrpctlDecode, SurvivesAnyBytes) {
    std::mt19937 random(1);
    const std::string some = std::string("0123#9#a-\xff") + std::string(3, '\0');
    for (const char* shape : {"", "change", "change-answer", "set-state", "verify", "list-answer",
                              "query", "query-answer", "flag-answer"}) {
        for (int left = 200; left > 0; --left) {
            std::string bytes(shape[0] != '\0' || left % 2 == 0 ? 4000 : 3984, '\0');
            for (char& byte : bytes) {
                byte = some[random() % some.size()];
            }
            if (left % 4 < 2) {
                std::memcpy(bytes.data(), Number(random() % 12).data(), 4);
                std::memset(bytes.data() + 4, 0, 4);
            }
            const auto record = DecodeRecord(bytes, shape);
            ASSERT_TRUE(record);
            size_t place = 0;
            for (const DecodedField& field : record->fields) {
                ASSERT_EQ(field.offset, place) << field.name;
                place += field.size;
            }
            ASSERT_EQ(place, bytes.size());
        }
    }
    for (const size_t size : {0, 1, 3983, 3985, 3999, 4001}) {
        EXPECT_FALSE(DecodeRecord(std::string(size, '1'), "")) << size;
    }
    EXPECT_FALSE(DecodeRecord(Ss(""), "nobody"));
    EXPECT_FALSE(DecodeRecord(Pm(0, ""), "change"));
}

}  // namespace
}  // namespace GrpCtl
