#include "src/agent/procmgr_agent_serialization.h"

#include <algorithm>
#include <locale>
#include <sstream>

#include "platform/secure_memory.h"
#include "src/common/field_reader.h"
#include "src/common/logging.h"

namespace ProcMgr::Serialization {

namespace {

using Message::RequestMsg;
using Message::RequestType;

constexpr char kSeparator = '#';

/// A text stream for one piece after the other. A host's locale would group the digits of numbers,
/// so the streams here keep to the classic one.
class PieceStream {
public:
    PieceStream() { stream_.imbue(std::locale::classic()); }

    std::ostream& Begin() {
        stream_.str({});
        return stream_;
    }

    size_t Size() { return static_cast<size_t>(stream_.tellp()); }

    /// @return false when the piece is too long
    bool AppendTo(std::vector<Piece>& pieces) {
        if (Size() > kLargestPiece) {
            return false;
        }
        std::string text = stream_.str();
        const auto size = static_cast<uint32_t>(text.size());
        pieces.emplace_back(size, std::move(text));
        return true;
    }

private:
    std::ostringstream stream_;
};

void PackList(std::ostream& stream, const std::vector<std::string>& texts) {
    stream << texts.size() << kSeparator;
    for (const std::string& text : texts) {
        stream << text << kSeparator;
    }
}

template <typename Info>
void PackApp(std::ostream& stream, const Info& app) {
    stream << app.name << kSeparator;
    PackList(stream, app.arguments);
    PackDynamicPara(stream, app.dynamicParas);
}

}  // namespace

void PackDynamicPara(std::ostream& stream, const std::map<int, std::vector<std::string>>& paras) {
    stream << paras.size() << kSeparator;
    for (const auto& [key, values] : paras) {
        stream << key << kSeparator;
        PackList(stream, values);
    }
}

bool ProcMgrPackStartRequest(const std::vector<Message::StartAppInfo>& apps,
                             std::vector<Piece>& pieces) {
    PieceStream piece;
    for (const Message::StartAppInfo& app : apps) {
        PackApp(piece.Begin(), app);
        if (!piece.AppendTo(pieces)) {
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
    PieceStream piece;
    for (const Message::RestartAppInfo& app : apps) {
        PackApp(piece.Begin(), app);
        if (!piece.AppendTo(pieces)) {
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
    PieceStream piece;
    for (const Message::TermAppInfo& app : apps) {
        piece.Begin() << app.name << kSeparator;
        if (!piece.AppendTo(pieces)) {
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
    PieceStream piece;
    piece.Begin() << static_cast<uint32_t>(info.state) << kSeparator;
    if (!piece.AppendTo(pieces)) {
        GRP_ERROR(
            "ProcMgrAgent : PackBaseServiceStateRequest failed: beyone the PM_PIPE_BUF_MAX!!");
        return false;
    }
    return true;
}

bool ProcMgrPackAppExecInfoRequest(const Message::AppExecInfo& info, std::vector<Piece>& pieces) {
    PieceStream piece;
    piece.Begin() << info.name << kSeparator << info.pid << kSeparator << info.state << kSeparator
                  << info.reason << kSeparator;
    if (!piece.AppendTo(pieces)) {
        GRP_ERROR("ProcMgrAgent : PackExecStateRequest failed: beyone the PM_PIPE_BUF_MAX!!");
        return false;
    }
    return true;
}

bool ProcMgrPackMatchDataAndPathRequest(const Message::StartupCfgInfo& info,
                                        std::vector<Piece>& pieces) {
    PieceStream piece;
    std::ostream& stream = piece.Begin();
    stream << info.path << kSeparator << info.matchData.size() << kSeparator;
    for (const auto& [key, value] : info.matchData) {
        stream << key << kSeparator << value << kSeparator;
    }
    if (!piece.AppendTo(pieces)) {
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
    std::sort(pieces.begin(), pieces.end());
    std::vector<uint32_t> windows;
    CalculateWindows(pieces, windows);
    auto piece = pieces.cbegin();
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
    RequestMsg record{};  // with its padding: nothing of this process leaks to the peer
    record.type = static_cast<uint32_t>(type);
    record.length = text.size();
    const int result = memcpy_s(record.data, sizeof(record.data), text.data(), text.size());
    if (result != 0) {
        GRP_ERROR("ProcMgrCombineMsg failed memcpy_s failed: strSize=%lu bytes, ret=%d",
                  text.size(), result);
        return;
    }
    records.push_back(record);
}

bool ProcMgrUnpackedAppStateRequest(const RequestMsg* record,
                                    std::vector<Message::AppStateInfo>& apps) {
    const uint64_t length = std::min<uint64_t>(record->length, sizeof(record->data));
    FieldReader fields(std::string(record->data, length));
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
