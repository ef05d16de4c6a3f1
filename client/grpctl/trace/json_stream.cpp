#include "client/grpctl/trace/json_stream.h"

#include <utility>

#include "client/grpctl/text/failure.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::LineStream;
using std::chrono::milliseconds;

Failure ToFailure(const Error& error, const std::string& peer) {
    Failure failure = GrpCtl::ToFailure(error);
    if (error.kind == ErrorKind::kUnreachable) {
        failure.what = "cannot reach the " + peer;
        failure.help = "its socket lies beside that of the group owner, which --socket PATH names";
    }
    return failure;
}

LineStream Open(const std::string& path, const std::string& peer, std::string_view request,
                milliseconds timeout) {
    auto stream = LineStream::Open(path, peer, request, timeout);
    if (!stream) {
        throw ToFailure(stream.GetError(), peer);
    }
    return std::move(*stream);
}

Failure Refused(const std::string& peer, const Json& answer) {
    const std::string error = TextIn(answer, "error");
    const ExitCode code = error == "not-allowed"           ? kNotAllowed
                          : error == "unknown-application" ? kNoSuchApplication
                                                           : kFailed;
    return {code, "the " + peer + " refuses", TextIn(answer, "reason"), ""};
}

}  // namespace

JsonStream::JsonStream(const std::string& path, std::string_view peer, std::string_view request,
                       milliseconds timeout)
    : peer_(peer), stream_(Open(path, peer_, request, timeout)) {
    std::optional<Json> first = Next(timeout, -1);
    if (!first) {
        throw Failure{kNoAnswer, "the " + peer_ + " does not answer", "", ""};
    }
    if (TextIn(*first, "kind") == "refused") {
        throw Refused(peer_, *first);
    }
    if (TextIn(*first, "kind") != "hello" || NumberIn(*first, "schema") != 1) {
        throw Failure{kFailed, "the " + peer_ + " speaks another language", "",
                      "is it of another version?"};
    }
    hello_ = std::move(*first);
}

std::optional<Json> JsonStream::Next(milliseconds timeout, int interruptFd) {
    auto line = stream_.Next(timeout, interruptFd);
    if (!line && line.GetError().kind == ErrorKind::kTimeout) {
        return std::nullopt;
    }
    if (!line) {
        throw ToFailure(line.GetError(), peer_);
    }
    line_ = std::move(*line);
    Json object = Json::parse(line_, nullptr, false);
    if (!object.is_object()) {
        throw Failure{kFailed, "the " + peer_ + " has sent what is no object",
                      GrpOwnerLinux::Escaped(line_), "is it of another version?"};
    }
    return object;
}

std::string TextIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

int64_t NumberIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_integer() ? found->get<int64_t>() : 0;
}

}  // namespace GrpCtl
