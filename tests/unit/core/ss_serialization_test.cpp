#include "src/ss/ss_to_owner_serialization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "platform/memory/memory_platform.h"
#include "tests/support/log_assertions.h"

namespace ProcMgr::SS {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::Logged;

SsToOwnerRequestMsg RequestOf(const std::string& payload) {
    SsToOwnerRequestMsg request;
    std::memset(&request, '7', sizeof(request));  // what is beyond must not be read
    request.size = payload.size();
    std::memcpy(request.data, payload.data(), payload.size());
    return request;
}

std::string Payload(const SsToOwnerResponseMsg& response) {
    return {response.data, response.size};
}

void CheckChange(const std::string& payload, bool isTaken, const std::string& expected) {
    std::vector<AppInfo> apps;
    EXPECT_EQ(UnPackChangeAppInfoRequestMsg(RequestOf(payload), apps), isTaken) << payload;
    std::string text;
    for (const AppInfo& app : apps) {
        text += app.name + "/" + std::to_string(app.optionType) + testing::PrintToString(app.argv) +
                testing::PrintToString(app.dynamicParas) + ";";
    }
    text.erase(std::remove(text.begin(), text.end(), '"'), text.end());
    EXPECT_EQ(text, expected) << payload;
}

TEST(SsSerializationTest, ChangeRequests) {
    CheckChange("1#cam#0#2#-a#-b#1#0#1#x#", true, "cam/0{ -a, -b }{ (0, { x }) };");
    CheckChange("2# a b #2#0#0##1#1##0#", true, " a b /2{}{};/1{  }{};");
    CheckChange("1#a#0#0#3#2#1#p#0#2#q##2#1#r#", true, "a/0{}{ (0, { q,  }), (2, { p, r }) };");
    CheckChange("1#a#0#0#1#1#0#", true, "a/0{}{};");
    CheckChange("1#a#0#0#1#-1#1#x#", true, "a/0{}{ (-1, { x }) };");
    CheckChange("2#a#0#2000#b#1#0#0#", true, "a/0{}{};b/1{}{};");  // the next begins there
    CheckChange("1#a#-1#0#0#", true, "a/4294967295{}{};");         // wraps
    CheckChange("2#a#x#0#0#b#1#0#0#", true, "a/0{}{};/0{}{};");    // dry from what is no number
    CheckChange("1|a#1|0|0|", true, "a/1{}{};");  // what separates numbers is not looked at
    CheckChange("", true, "");
    CheckChange("2#a#1#0#0#b#0#0#4#c#", false, "a/1{}{};b/0{}{};");
    CheckChange("2#a#0#1#x#1#3#1#y#", false, "a/0{ x }{};/0{}{};");
    CheckChange("1#a#0#0#2#0#1#x#1#1025#", false, "a/0{}{ (0, { x }) };");
    CheckChange("1025#a#0#0#0#", false, "");
    CheckChange("-1#a#0#0#0#", false, "");
    std::vector<AppInfo> apps;
    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(RequestOf("1024#a#1#1024#"), apps));
    ASSERT_EQ(apps.size(), 1024U);
    EXPECT_EQ(apps[0].argv.size(), 1024U);
    EXPECT_EQ(apps[1023].name + std::to_string(apps[1023].optionType), "0");
    EXPECT_TRUE(Logged(kWarning, "ChangeAppState owner unpack request argvSize=2000 > 1024"));
}

TEST(SsSerializationTest, VerifyRequests) {
    std::map<std::string, uint32_t> changes;
    EXPECT_TRUE(UnPackVerifyRequest(RequestOf("1024#a#0#b#7#a#2#"), changes));
    EXPECT_EQ(changes, (std::map<std::string, uint32_t>{{"", 0}, {"a", 2}, {"b", 7}}));
    EXPECT_FALSE(UnPackVerifyRequest(RequestOf("1025#c#0#"), changes));
    EXPECT_EQ(changes.size(), 3U);
}

TEST(SsSerializationTest, ChangeAnswers) {
    SsToOwnerResponseMsg response;
    EXPECT_TRUE(PackChangeAppInfoResponse(
        true, {{"cam", AppChangeState::SUCCESS}, {"nav", AppChangeState::START_FAILED}}, response));
    EXPECT_EQ(Payload(response), "3#1#cam#0#nav#2#");
    // One that is too long by itself writes nothing; what is too long in all keeps its length.
    EXPECT_FALSE(PackChangeAppInfoResponse(true, {{std::string(3985, 'n')}}, response));
    EXPECT_EQ(Payload(response), "3#1#cam#0#nav#2#");
    EXPECT_TRUE(PackChangeAppInfoResponse(true, {{std::string(3981, 'n')}}, response));
    EXPECT_EQ(response.size, 3988U);
    EXPECT_FALSE(PackChangeAppInfoResponse(true, {{std::string(3982, 'n')}}, response));
    EXPECT_EQ(response.size, 3989U);
    EXPECT_EQ(std::string(response.data, kDataSize), std::string(kDataSize, '\0'));
}

}  // namespace
}  // namespace ProcMgr::SS
