#include "src/ss/ss_to_owner_serialization.h"

#include <gtest/gtest.h>

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

TEST(SsSerializationTest, KeepsToTheLimits) {
    std::vector<AppInfo> apps;
    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(RequestOf("1024#a#1#1024#"), apps));
    ASSERT_EQ(apps.size(), 1024U);
    EXPECT_EQ(apps[0].argv.size(), 1024U);
    EXPECT_EQ(apps[1023].name + std::to_string(apps[1023].optionType), "0");
    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(RequestOf("1#a#0#2000#"), apps));
    EXPECT_TRUE(Logged(kWarning, "ChangeAppState owner unpack request argvSize=2000 > 1024"));
    std::map<std::string, uint32_t> changes;
    EXPECT_TRUE(UnPackVerifyRequest(RequestOf("1024#a#0#b#7#a#2#"), changes));
    EXPECT_EQ(changes, (std::map<std::string, uint32_t>{{"", 0}, {"a", 2}, {"b", 7}}));
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
