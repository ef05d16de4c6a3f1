#include "src/agent/procmgr_agent_serialization.h"

#include <algorithm>
#include <ostream>
#include <string_view>

#include "platform/secure_memory.h"
#include "src/common/field_reader.h"
#include "src/common/logging.h"

namespace ProcMgr::Serialization {

namespace {

using Message::RequestMsg;
using Message::RequestType;

constexpr char kSeparator = '#';

/// The text of one piece. Not a stream: those are made for locales, which a host may change.
class PieceText {
public:
    PieceText& Add(const std::string& text) {
        text_.append(text).push_back(kSeparator);
        return *this;
    }

    template <typename Number>
    PieceText& AddNumber(Number number) {
        return Add(std::to_string(number));
    }

    PieceText& AddList(const std::vector<std::string>& texts) {
        AddNumber(texts.size());
        for (const std::string& text : texts) {
            Add(text);
        }
        return *this;
    }

    PieceText& AddParas(const std::map<int, std::vector<std::string>>& paras) {
        AddNumber(paras.size());
        for (const auto& [key, values] : paras) {
            AddNumber(key).AddList(values);
        }
        return *this;
    }

    size_t Size() const { return text_.size(); }
    const std::string& Text() const { return text_; }

    /// The end of the piece, unless it is too long.
    bool MoveTo(std::vector<Piece>& pieces) {
        if (Size() > kLargestPiece) {
            return false;
        }
        const auto size = static_cast<uint32_t>(Size());
        pieces.emplace_back(size, std::move(text_));
        return true;
    }

private:
    std::string text_;
};

template <typename Info>
PieceText PackApp(const Info& app) {
    PieceText piece;
    piece.Add(app.name).AddList(app.arguments).AddParas(app.dynamicParas);
    return piece;
}

}  // namespace

void PackDynamicPara(std::ostream& stream, const std::map<int, std::vector<std::string>>& paras) {
    stream << PieceText().AddParas(paras).Text();
}

bool ProcMgrPackStartRequest(const std::vector<Message::StartAppInfo>& apps,
                             std::vector<Piece>& pieces) {
    pieces.reserve(pieces.size() + apps.size());
    for (const Message::StartAppInfo& app : apps) {
        PieceText piece = PackApp(app);
        if (!piece.MoveTo(pieces)) {
            GRP_ERROR(
                "ProcMgrAgent: PackStartRequest failed app=%s, size=%lu bytes beyone the "
                "PM_PIPE_BUF_MAX!!",
                app.name.c_str(), piece.Size());
            return false;
        }
    }
    return true;
}

bool ProcMgrPackRestartRequest(const std::vector<Message::RestartAppInfo>& apps,
                               std::vector<Piece>& pieces) {
    pieces.reserve(pieces.size() + apps.size());
    for (const Message::RestartAppInfo& app : apps) {
        PieceText piece = PackApp(app);
        if (!piece.MoveTo(pieces)) {
            GRP_ERROR(
                "ProcMgrAgent PackRestartRequest failed app=%s, size=%lu bytes beyone "
                "PM_PIPE_BUF_MAX!!",
                app.name.c_str(), piece.Size());
            return false;
        }
    }
    return true;
}

bool ProcMgrPackTermRequest(const std::vector<Message::TermAppInfo>& apps,
                            std::vector<Piece>& pieces) {
    pieces.reserve(pieces.size() + apps.size());
    for (const Message::TermAppInfo& app : apps) {
        PieceText piece;
        if (!piece.Add(app.name).MoveTo(pieces)) {
            GRP_ERROR(
                "ProcMgrAgent : PackTermRequest failed app=%s, size=%lu bytes beyone the "
                "PM_PIPE_BUF_MAX!!",
                app.name.c_str(), piece.Size());
            return false;
        }
    }
    return true;
}

bool ProcMgrPackBaseServiceStateRequest(Message::BaseServiceStateInfo info,
                                        std::vector<Piece>& pieces) {
    PieceText piece;
    if (!piece.AddNumber(static_cast<uint32_t>(info.state)).MoveTo(pieces)) {
        GRP_ERROR(
            "ProcMgrAgent : PackBaseServiceStateRequest failed: beyone the PM_PIPE_BUF_MAX!!");
        return false;
    }
    return true;
}

bool ProcMgrPackAppExecInfoRequest(const Message::AppExecInfo& info, std::vector<Piece>& pieces) {
    PieceText piece;
    piece.Add(info.name).AddNumber(info.pid).AddNumber(info.state).AddNumber(info.reason);
    if (!piece.MoveTo(pieces)) {
        GRP_ERROR("ProcMgrAgent : PackExecStateRequest failed: beyone the PM_PIPE_BUF_MAX!!");
        return false;
    }
    return true;
}

bool ProcMgrPackMatchDataAndPathRequest(const Message::StartupCfgInfo& info,
                                        std::vector<Piece>& pieces) {
    PieceText piece;
    piece.Add(info.path).AddNumber(info.matchData.size());
    for (const auto& [key, value] : info.matchData) {
        piece.Add(key).Add(value);
    }
    if (!piece.MoveTo(pieces)) {
        GRP_ERROR(
            "ProcMgrAgent : PackMatchDataAndPathRequest failed: beyone the PM_PIPE_BUF_MAX!!");
        return false;
    }
    return true;
}

bool ProcMgrCombinePiecesMsg(RequestType type, std::vector<Piece>& pieces,
                             std::vector<RequestMsg>& records) {
    if (pieces.empty()) {
        GRP_ERROR("CombinePiecesMsg failed: packedRequest is empty!!");
        return false;
    }
    // Names of one length come sorted: a look costs less than another sort.
    if (!std::is_sorted(pieces.begin(), pieces.end())) {
        std::sort(pieces.begin(), pieces.end());
    }
    std::vector<uint32_t> windows;
    CalculateWindows(pieces, windows);
    auto piece = pieces.cbegin();
    records.reserve(records.size() + windows.size());
    for (const uint32_t count : windows) {
        std::string joined;
        for (uint32_t i = 0; i < count; ++i, ++piece) {
            joined += piece->second;
        }
        ProcMgrCombineMsg(type, count, joined, records);
    }
    return true;
}

void CalculateWindows(const std::vector<Piece>& pieces, std::vector<uint32_t>& windows) {
    uint32_t sum = 0;
    uint32_t count = 0;
    for (const auto& [size, text] : pieces) {
        if (size > kLargestSum) {
            GRP_WARNING("packedRequest=%u bytes beyond the PM_PIPE_BUF_MAX!", size);
            break;
        }
        if (size > kLargestSum - sum) {
            windows.push_back(count);
            sum = 0;
            count = 0;
        }
        sum += size;
        ++count;
    }
    if (count > 0) {
        windows.push_back(count);
    }
}

void ProcMgrCombineMsg(RequestType type, uint32_t count, const std::string& joined,
                       std::vector<RequestMsg>& records) {
    const std::string text = std::to_string(count) + kSeparator + joined;
    // All of it is zero, with its padding: nothing of this process leaks to the peer.
    RequestMsg& record = records.emplace_back();
    record.type = static_cast<uint32_t>(type);
    record.length = text.size();
    const int result = memcpy_s(record.data, sizeof(record.data), text.data(), text.size());
    if (result != 0) {
        GRP_ERROR("ProcMgrCombineMsg failed memcpy_s failed: strSize=%lu bytes, ret=%d",
                  text.size(), result);
        records.pop_back();
    }
}

bool ProcMgrUnpackedAppStateRequest(const RequestMsg* record,
                                    std::vector<Message::AppStateInfo>& apps) {
    const uint64_t length = std::min<uint64_t>(record->length, sizeof(record->data));
    FieldReader fields(std::string_view(record->data, length));
    const auto count = fields.GetNumber<uint32_t>();
    if (count >= kTooManyApps) {
        GRP_ERROR("ProcMgr : ProcMgrMaster UnpackedAppStateRequest err: big AppListSize=%u", count);
        return false;
    }
    apps.resize(count);
    for (Message::AppStateInfo& app : apps) {
        app.name = fields.GetText();
        for (uint32_t* number : {&app.pid, &app.type, &app.reason, &app.spare}) {
            *number = fields.GetNumber<uint32_t>();
        }
    }
    return true;
}

}  // namespace ProcMgr::Serialization
