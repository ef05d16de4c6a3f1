#include "src/ss/ss_to_owner_serialization.h"

#include <optional>
#include <string_view>
#include <utility>

#include "grpowner/enumerations.h"
#include "platform/secure_memory.h"
#include "src/common/logging.h"

namespace ProcMgr::SS {

namespace {

/// The payload; nothing, after an error line, when it claims to be longer than a record.
std::optional<std::string_view> PayloadOf(const SsToOwnerRequestMsg& request) {
    if (request.size > kDataSize) {
        GRP_ERROR("request size=%lu is invalid", request.size);
        return std::nullopt;
    }
    return std::string_view(request.data, request.size);
}

std::vector<std::string> GetTexts(FieldReader& fields, uint64_t count) {
    std::vector<std::string> texts;
    texts.reserve(count);
    for (; count > 0; --count) {
        texts.emplace_back(fields.GetText());
    }
    return texts;
}

bool UnPackApp(FieldReader& fields, AppInfo& app) {
    app.name = fields.GetText();
    app.optionType = fields.GetNumber<uint32_t>();
    const auto argvSize = fields.GetNumber<uint64_t>();
    if (argvSize > kMostArguments) {
        GRP_WARNING("ChangeAppState owner unpack request argvSize=%lu > %lu", argvSize,
                    kMostArguments);
        return true;  // clients rely on the rest of the request being carried out
    }
    app.argv = GetTexts(fields, argvSize);
    if (!UnPackDynamicPara(fields, app)) {
        return false;
    }
    GRP_EVENT("ChangeAppState owner unpack request name=%s, optionType=%u(%s), argvSize=%zu",
              app.name.c_str(), app.optionType, GetOptionType(app.optionType).c_str(),
              app.argv.size());
    return true;
}

}  // namespace

bool UnPackSetSystemStateRequest(const SsToOwnerRequestMsg& request, int& state) {
    const std::optional<std::string_view> payload = PayloadOf(request);
    if (!payload) {
        return false;
    }
    // An empty payload tells no state, so the caller's preset stays; a text that is none tells 0.
    state = FieldReader(*payload).GetNumber(state);
    GRP_INFO("UnPackSetSystemStateRequest ssMsgStr=%s, state=%d(%s)", std::string(*payload).c_str(),
             state, GetSysState(static_cast<uint64_t>(state)).c_str());
    return true;
}

bool UnPackChangeAppInfoRequestMsg(const SsToOwnerRequestMsg& request, std::vector<AppInfo>& apps) {
    const std::optional<std::string_view> payload = PayloadOf(request);
    if (!payload) {
        return false;
    }
    FieldReader fields(*payload);
    const auto appSize = fields.GetNumber<uint64_t>();
    if (appSize > kMostApps) {
        GRP_ERROR("ChangeAppState owner unpack request appSize=%lu > %lu", appSize, kMostApps);
        return false;
    }
    apps.resize(appSize);
    for (AppInfo& app : apps) {
        if (!UnPackApp(fields, app)) {
            return false;
        }
    }
    return true;
}

bool UnPackDynamicPara(FieldReader& fields, AppInfo& app) {
    app.dynamicParas.clear();
    const auto groups = fields.GetNumber<uint64_t>();
    if (groups > kMostGroups) {
        GRP_ERROR("ChangeAppState unpack request failed, %s dynamicParaSize=%zu invalid",
                  app.name.c_str(), groups);
        return false;
    }
    for (uint64_t group = 0; group < groups; ++group) {
        const auto index = fields.GetNumber<int32_t>();
        if (index > kHighestGroupIndex) {
            GRP_ERROR("ChangeAppState unpack request failed, %s dynamicPara index=%d invalid",
                      app.name.c_str(), index);
            return false;
        }
        const auto valueNum = fields.GetNumber<uint64_t>();
        if (valueNum > kMostValues) {
            GRP_ERROR("ChangeAppState unpack dynamicPara fail, %s index=%d valueNum=%zu invalid",
                      app.name.c_str(), index, valueNum);
            return false;
        }
        for (std::string& value : GetTexts(fields, valueNum)) {
            app.dynamicParas[index].push_back(std::move(value));
        }
    }
    return true;
}

bool UnPackVerifyRequest(const SsToOwnerRequestMsg& request,
                         std::map<std::string, uint32_t>& changes) {
    const std::optional<std::string_view> payload = PayloadOf(request);
    if (!payload) {
        return false;
    }
    GRP_INFO("UnPackVerifyRequest ssMsgStr=<%s,%zu>", std::string(*payload).c_str(),
             payload->size());
    FieldReader fields(*payload);
    auto count = fields.GetNumber<uint64_t>();
    if (count > kMostApps) {
        GRP_ERROR("UnPackVerifyRequest appInfo size=%zu > %zu", count, kMostApps);
        return false;
    }
    GRP_INFO("UnPackVerifyRequest appInfo size=%zu", count);
    for (; count > 0; --count) {
        std::string name(fields.GetText());
        changes[std::move(name)] = fields.GetNumber<uint32_t>();
    }
    return true;
}

int PutText(const std::string& text, SsToOwnerResponseMsg& response) {
    response.size = text.size();
    return memcpy_s(response.data, sizeof(response.data), text.data(), text.size());
}

bool PackSetSystemStateResponse(bool result, SsToOwnerResponseMsg& response) {
    const std::string text = ResultText(result) + '#';
    if (PutText(text, response) != 0) {
        response.size = 0;
        GRP_ERROR("PackSetSystemStateResponse failed respStr=%s respStrSize=%zu", text.c_str(),
                  text.size());
        return false;
    }
    return true;
}

bool PackChangeAppInfoResponse(bool result, const std::vector<AppChangeInfo>& results,
                               SsToOwnerResponseMsg& response) {
    std::string text = std::to_string(results.size() + 1) + '#' + ResultText(result) + '#';
    for (const AppChangeInfo& entry : results) {
        const std::string piece =
            entry.name + '#' + std::to_string(static_cast<uint32_t>(entry.state)) + '#';
        if (piece.size() >= kTooLargePiece) {
            GRP_ERROR("ChangeAppState owner pack response failed size=%zu beyond %zu!!",
                      piece.size(), kTooLargePiece);
            return false;
        }
        GRP_INFO("ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: %s",
                 piece.c_str());
        text += piece;
    }
    if (PutText(text, response) != 0) {
        GRP_ERROR("memcpy_s failed, copy respStr=%s respStrSize=%lu failed", text.c_str(),
                  text.size());
        return false;
    }
    GRP_INFO(
        "ChangeAppState owner pack response "
        "appSize+1#cb_ret#app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#:%s",
        text.c_str());
    return true;
}

std::string ResultText(bool result) {
    return result ? "1" : "0";
}

std::string NameListText(bool result, const std::vector<std::string>& names) {
    std::string text = ResultText(result) + '#';
    if (result) {
        for (const std::string& name : names) {
            text += name + '#';
        }
    }
    return text;
}

}  // namespace ProcMgr::SS
