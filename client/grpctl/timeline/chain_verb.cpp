// The verb `critical-chain`: what an application, or the boot, had to wait for.

#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/chain_output.h"
#include "client/grpctl/timeline/read_story.h"
#include "client/grpctl/timeline/story.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using Timeline::Chain;
using Timeline::Needs;
using Timeline::Story;

// The trace knows only what was waited for; what ran already is known by the configuration alone.
Needs ReadNeeds(const Options& options) {
    Needs needs;
    if (!options.traceFile.empty()) {
        return needs;
    }
    try {
        Session session(options);
        const Group group = Group::Learn(session.Client());
        for (const ApplicationManifest& manifest : group.Manifests()) {
            needs[manifest.GetAppName()] = group.GetDependencies().NeedsOf(manifest.GetAppName());
        }
    } catch (const Failure&) {
        needs.clear();  // the chains end where the request began
    }
    return needs;
}

size_t RowOf(const Story& story, const std::string& name) {
    const auto row = story.FindRow(name);
    if (!row) {
        std::vector<std::string_view> names;
        for (const Timeline::Row& other : story.rows) {
            names.emplace_back(other.name);
        }
        throw Failure{kNoSuchApplication,
                      "the trace tells of no application " + GrpOwnerLinux::Quote(name), "",
                      GrpOwnerLinux::DidYouMean(GrpOwnerLinux::Suggester(names).Nearest(name))};
    }
    return *row;
}

std::vector<Chain> ChainsOf(const Story& story, const Options& options) {
    std::vector<Chain> chains;
    const Needs needs = options.operands.empty() ? Needs() : ReadNeeds(options);
    for (const std::string& name : options.operands) {
        Chain chain = Timeline::ChainOf(story, RowOf(story, name), needs);
        if (chain.empty()) {
            throw Failure{kFailed, "the trace tells of no start of " + GrpOwnerLinux::Quote(name),
                          "", "`grpownerd --trace NUMBER` keeps more of it"};
        }
        chains.push_back(std::move(chain));
    }
    if (options.operands.empty()) {
        Chain chain = Timeline::ChainOfBoot(story);
        if (chain.empty()) {
            throw Failure{kFailed, "the trace tells of no start", "",
                          "`grpownerd --trace NUMBER` keeps more of it"};
        }
        chains.push_back(std::move(chain));
    }
    return chains;
}

}  // namespace

int RunCriticalChain(const Options& options) {
    const Story story = Timeline::ReadStory(options);
    const std::vector<Chain> chains = ChainsOf(story, options);
    if (options.format == Format::kJson) {
        Json json = NewObject();
        json["owner"] = story.owner;
        json["chains"] = Json::array();
        for (const Chain& chain : chains) {
            json["chains"].push_back(Timeline::JsonOf(story, chain));
        }
        PutJson(json);
        return kDone;
    }
    const Screen screen = Screen::Of(STDOUT_FILENO, options.color);
    if (!options.isQuiet) {
        Put("\"@\" is when it was running, \"+\" is how long its start took.\n");
    }
    for (size_t i = 0; i < chains.size(); ++i) {
        Put((i == 0 ? "" : "\n") + Timeline::TextOf(story, chains[i], screen));
    }
    return kDone;
}

}  // namespace GrpCtl
