#include "client/grpctl/trace/process_log.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include "client/grpctl/text/duration.h"
#include "platform/linux/observer_path.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr char kProcessManager[] = "PROCMGR";

std::string SignalName(const Json& object) {
    const std::string name = TextIn(object, "name");
    return name.empty() ? "signal " + std::to_string(NumberIn(object, "signal")) : name;
}

std::string UpTime(const Json& object) {
    return ShowDuration(std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::nanoseconds(NumberIn(object, "uptime_ns"))));
}

std::string PlainEnd(const Json& object) {
    return TextIn(object, "kind") == "failed"
               ? "could not " + TextIn(object, "step") + ": " + TextIn(object, "error")
           : object.contains("signal") ? SignalName(object)
                                       : "status " + std::to_string(NumberIn(object, "status"));
}

std::string CoreRemark(const Json& object) {
    return object.value("core", false) ? ", core dumped" : "";
}

// What happened, in words; empty for what goes without saying.
std::string RemarkOn(const Json& object) {
    const std::string kind = TextIn(object, "kind");
    if (kind == "executed") {
        return "started, pid " + std::to_string(NumberIn(object, "pid"));
    }
    if (kind == "exited") {
        return (object.contains("signal") ? "killed by " : "exited with ") + PlainEnd(object) +
               CoreRemark(object) + ", up " + UpTime(object);
    }
    if (kind == "signal") {
        const std::string reason = TextIn(object, "reason");
        return SignalName(object) + " sent" +
               (reason == "stop"            ? ", as asked"
                : reason == "restart"       ? ", to restart it"
                : reason == "group-end"     ? ", since the group ends"
                : reason == "stop-time-out" ? ", since it did not stop in time"
                                            : "");
    }
    if (kind == "failed") {
        return PlainEnd(object);
    }
    if (kind == "gap") {
        return std::to_string(NumberIn(object, "missed")) +
               (TextIn(object, "of") == "output" ? " lines are lost" : " events are lost");
    }
    return "";
}

bool IsSameDay(const tm& one, const tm& other) {
    return one.tm_year == other.tm_year && one.tm_yday == other.tm_yday;
}

}  // namespace

JsonStream OpenProcessLog(const std::string& ownerSocket, const LogRequest& request,
                          std::chrono::milliseconds timeout) {
    std::string words = "owner=" + request.owner + " lines=" + std::to_string(request.lines) +
                        " events=" + std::to_string(request.events);
    for (const std::string& name : request.applications) {
        words += " application=" + name;
    }
    words += request.isFollowing ? " follow" : "";
    const std::string directory = std::filesystem::path(ownerSocket).parent_path();
    return JsonStream(
        GrpOwnerLinux::ObserverPath(directory.empty() ? "." : directory, kProcessManager),
        "process manager", words, timeout);
}

std::string EndOf(const Json& object) {
    const std::string kind = TextIn(object, "kind");
    if (kind == "failed") {
        return PlainEnd(object);
    }
    if (kind != "exited") {
        return "";
    }
    return (object.contains("signal") ? "" : "exit ") + PlainEnd(object) + CoreRemark(object);
}

std::string TerminalText(const std::string& text) {
    std::string shown;
    std::string_view rest = text;
    if (!rest.empty() && rest.back() == '\r') {
        rest.remove_suffix(1);  // of a line end for other systems
    }
    while (!rest.empty()) {
        uint32_t value = 0;
        const size_t width = std::max<size_t>(GrpOwnerLinux::DecodeCharacter(rest, value), 1);
        if (rest.front() == '\t' || !GrpOwnerLinux::IsControl(value)) {
            shown += rest.substr(0, width);
        } else {
            char escape[12];
            std::snprintf(escape, sizeof(escape), value < 0x100 ? "\\x%02x" : "\\u%04x", value);
            shown += escape;
        }
        rest.remove_prefix(width);
    }
    return shown;
}

LogLines::LogLines(const Json& hello, const std::vector<std::string>& applications, Screen screen)
    : toRealTime_(NumberIn(hello, "utc") - NumberIn(hello, "time")),
      now_(NumberIn(hello, "utc")),
      screen_(screen) {
    for (const std::string& name : applications) {
        nameWidth_ = applications.size() > 1 ? std::max(nameWidth_, name.size()) : 0;
    }
}

std::string LogLines::Of(const Json& object) const {
    if (TextIn(object, "kind") == "output") {
        return TimeOf(object) + NameOf(object) + Output(object) + "\n";
    }
    const std::string remark = TerminalText(RemarkOn(object));
    return remark.empty()
               ? ""
               : TimeOf(object) + NameOf(object) +
                     Paint("-- " + remark + " --", Style::kHead, screen_.isColored) + "\n";
}

// With the day when that is not the day of the question.
std::string LogLines::TimeOf(const Json& object) const {
    const int64_t when = NumberIn(object, "time") + toRealTime_;
    const time_t seconds = when / kSecond;
    const time_t nowSeconds = now_ / kSecond;
    tm parts{};
    tm now{};
    char text[40] = "";
    size_t length = 0;
    if (localtime_r(&seconds, &parts) != nullptr && localtime_r(&nowSeconds, &now) != nullptr) {
        length = std::strftime(text, sizeof(text),
                               IsSameDay(parts, now) ? "%H:%M:%S" : "%Y-%m-%d %H:%M:%S", &parts);
    }
    std::snprintf(text + length, sizeof(text) - length, ".%03d",
                  static_cast<int>(when % kSecond / 1'000'000));
    return Paint(text, Style::kFaint, screen_.isColored) + "  ";
}

std::string LogLines::NameOf(const Json& object) const {
    std::string name = nameWidth_ > 0 ? TerminalText(TextIn(object, "application")) : "";
    if (nameWidth_ > 0) {
        name.resize(std::max(name.size(), nameWidth_) + 2, ' ');
    }
    return name;
}

std::string LogLines::Output(const Json& object) const {
    return TerminalText(TextIn(object, "text")) +
           (object.value("cut", false) ? Paint(" [...]", Style::kFaint, screen_.isColored) : "");
}

}  // namespace GrpCtl
