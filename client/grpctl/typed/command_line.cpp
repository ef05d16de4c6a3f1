#include "client/grpctl/typed/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/typed/help.h"
#include "client/grpctl/typed/verbs.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerLinux::Quote;
using Values = std::vector<std::string>;

// The longest spelling, which messages use.
std::string LongName(const Switch& entry) {
    return Split(entry.spelling, ',').back();
}

void Apply(const Switch& entry, const std::string& value, Options& options) {
    const Values words = Split(entry.words, '|');
    if (!entry.words.empty() && std::find(words.begin(), words.end(), value) == words.end()) {
        throw Failure{kWrongUsage, Quote(value) + " is no value of " + LongName(entry), "",
                      GrpOwnerLinux::UseOneOf(value, {words.begin(), words.end()})};
    }
    entry.apply(options, value);
}

void AddSwitch(CLI::App& app, const Switch& entry, Options& options) {
    const std::string spelling(entry.spelling);
    if (entry.value.empty()) {
        app.add_flag_callback(spelling, [&entry, &options] { entry.apply(options, ""); });
        return;
    }
    app.add_option_function<Values>(spelling,
                                    [&entry, &options](const Values& values) {
                                        for (const std::string& value : values) {
                                            Apply(entry, value, options);
                                        }
                                    })
        ->allow_extra_args(false);
}

void AddAll(CLI::App& app, Options& options) {
    app.require_subcommand(0, 1);
    app.allow_extras();
    app.set_version_flag("--version", "grpctl " GRPOWNER_VERSION);
    for (const Switch& entry : Switches()) {
        if (entry.verbs.empty()) {
            AddSwitch(app, entry, options);
        }
    }
    for (const Verb& verb : Verbs()) {
        CLI::App* const sub = app.add_subcommand(std::string(verb.name));
        sub->allow_extras();
        sub->parse_complete_callback([&options, &verb] { options.verb = verb.name; });
        if (verb.most > 0) {
            sub->add_option("operands", options.operands);
        }
        for (const Switch& entry : Switches()) {
            if (Applies(entry, verb.name)) {
                AddSwitch(*sub, entry, options);
            }
        }
    }
}

[[noreturn]] void RefuseExtra(const std::string& extra, const std::string& verb) {
    Values known;
    if (extra.front() == '-') {
        for (const Switch& entry : Switches()) {
            if (verb.empty() ? entry.verbs.empty() : Applies(entry, verb)) {
                known.push_back(LongName(entry));
            }
        }
    } else if (verb.empty()) {
        for (const Verb& entry : Verbs()) {
            known.emplace_back(entry.name);
        }
    } else {
        throw Failure{kWrongUsage, Quote(extra) + " is too much for `" + verb + "`", "",
                      "`grpctl help " + verb + "` shows what it takes"};
    }
    const std::string kind = extra.front() != '-' ? " is no command"
                             : verb.empty()       ? " is no switch"
                                                  : " is no switch of `" + verb + "`";
    const std::string name = extra.substr(0, extra.find('='));
    std::string help = GrpOwnerLinux::DidYouMean(
        GrpOwnerLinux::Suggester({known.begin(), known.end()}).Nearest(name));
    help += (help.empty() ? "" : " ") + std::string("`grpctl help") +
            (verb.empty() ? "" : " " + verb) + "` shows all";
    throw Failure{kWrongUsage, Quote(name) + kind, "", help};
}

void CheckOperands(const Options& options) {
    const Verb& verb = *FindVerb(options.verb);
    const size_t count = options.operands.size();
    if (count < verb.least || count > verb.most) {
        throw Failure{kWrongUsage,
                      count < verb.least ? "`" + options.verb + "` needs more to go on"
                                         : Quote(options.operands[verb.most]) +
                                               " is too much for `" + options.verb + "`",
                      "", "grpctl " + options.verb + " " + std::string(verb.operands)};
    }
}

// Whatever stands behind "--" is no switch, however it begins.
Values TakeTail(Values& words) {
    const auto dashes = std::find(words.begin(), words.end(), "--");
    if (dashes == words.end()) {
        return {};
    }
    Values tail(dashes + 1, words.end());
    words.erase(dashes, words.end());
    return tail;
}

void PutTail(Values tail, Options& options) {
    Values& place = FindVerb(options.verb)->takesArguments ? options.arguments : options.operands;
    place.insert(place.end(), tail.begin(), tail.end());
}

std::optional<Options> ShowHelp(const std::string& name) {
    const Verb* const verb = FindVerb(name);
    if (verb == nullptr && !name.empty()) {
        RefuseExtra(name, "");
    }
    Put(verb == nullptr ? OverallHelp() : HelpOf(*verb));
    return std::nullopt;
}

std::optional<Options> Finish(const CLI::App& app, Options options, Values tail) {
    const Values extras = app.remaining(true);
    if (!extras.empty()) {
        RefuseExtra(extras.front(), options.verb);
    }
    if (options.verb.empty()) {
        throw Failure{kWrongUsage, "no command is given", "", "`grpctl help` shows all"};
    }
    PutTail(std::move(tail), options);
    CheckOperands(options);
    return options;
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, char** argv) {
    Options options;
    CLI::App app("", "grpctl");
    AddAll(app, options);
    Values words(argv + 1, argv + argc);
    if (!words.empty() && words.front() == "help") {
        return ShowHelp(words.size() > 1 ? words[1] : "");
    }
    Values tail = TakeTail(words);
    std::reverse(words.begin(), words.end());  // as the parser wants them
    try {
        app.parse(words);
    } catch (const CLI::CallForHelp&) {
        const std::vector<CLI::App*> verbs = app.get_subcommands();
        return ShowHelp(verbs.empty() ? "" : verbs.front()->get_name());
    } catch (const CLI::CallForVersion& version) {
        Put(std::string(version.what()) + "\n");
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Failure{kWrongUsage, error.what(), "", "`grpctl help` shows all"};
    }
    return Finish(app, options, std::move(tail));
}

}  // namespace GrpCtl
