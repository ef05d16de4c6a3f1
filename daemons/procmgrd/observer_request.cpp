#include "daemons/procmgrd/observer_request.h"

#include <charconv>

#include "platform/linux/utf8.h"

namespace ProcMgrDaemon {

namespace {

bool ReadNumber(std::string_view text, std::optional<uint64_t>& number) {
    uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) {
        return false;
    }
    number = value;
    return true;
}

bool ReadWord(std::string_view word, ObserverRequest& request) {
    const size_t equals = word.find('=');
    const std::string_view key = word.substr(0, equals);
    if (equals == std::string_view::npos) {
        request.isFollowing |= key == "follow";
        return key == "follow";
    }
    const std::string_view value = word.substr(equals + 1);
    if (key == "lines") {
        return ReadNumber(value, request.lines);
    }
    if (key == "events") {
        return ReadNumber(value, request.events);
    }
    if (value.empty()) {
        return false;
    }
    if (key == "owner" && request.owner.empty()) {
        request.owner = value;
        return true;
    }
    if (key == "application") {
        request.applications.emplace(value);
        return true;
    }
    return false;
}

}  // namespace

std::string ReadRequest(std::string_view line, ObserverRequest& request) {
    while (!line.empty()) {
        const std::string_view word = line.substr(0, line.find(' '));
        line.remove_prefix(word.size() < line.size() ? word.size() + 1 : word.size());
        if (!word.empty() && !ReadWord(word, request)) {
            return GrpOwnerLinux::Quote(word) +
                   " is no word of a request; it takes owner=NAME, application=NAME, lines=NUMBER, "
                   "events=NUMBER and follow";
        }
    }
    if (!request.applications.empty() && request.owner.empty()) {
        return "applications are named without their owner; put owner=NAME before them";
    }
    return {};
}

}  // namespace ProcMgrDaemon
