#include "daemons/grpownerd/notify_message.h"

namespace GrpOwnerDaemon {

NotifyMessage ParseNotifyMessage(std::string_view text) {
    NotifyMessage message;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        message.isReady |= line == "READY=1";
        message.isStopping |= line == "STOPPING=1";
        message.isHeartBeat |= line == "WATCHDOG=1";
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return message;
}

}  // namespace GrpOwnerDaemon
