#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/typed/command_line.h"
#include "client/grpctl/typed/completion.h"
#include "client/grpctl/typed/manual.h"
#include "client/grpctl/typed/verbs.h"

namespace {

int Run(int argc, char** argv) {
    // Two that are in no help: the shells ask the one, who builds the manual page the other.
    if (argc > 1 && std::strcmp(argv[1], "__complete") == 0) {
        GrpCtl::Complete({argv + 2, argv + argc});
        return GrpCtl::kDone;
    }
    if (argc > 1 && std::strcmp(argv[1], "__manual") == 0) {
        GrpCtl::Put(GrpCtl::Manual());
        return GrpCtl::kDone;
    }
    const std::optional<GrpCtl::Options> options = GrpCtl::ReadCommandLine(argc, argv);
    const int code =
        options ? GrpCtl::FindVerb(options->verb)->run(*options) : static_cast<int>(GrpCtl::kDone);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw GrpCtl::Failure{GrpCtl::kFailed, "cannot write the results", "", ""};
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    (void)std::setlocale(LC_ALL, "");  // without it, the marks are ASCII
    try {
        return Run(argc, argv);
    } catch (const GrpCtl::Failure& failure) {
        (void)std::fflush(stdout);  // what is known stands before what went wrong
        std::fputs(GrpCtl::Render(failure).c_str(), stderr);
        return failure.code;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return GrpCtl::kFailed;
    }
}
