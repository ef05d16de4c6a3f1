#include "client/grpctl/typed/completion.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "client/grpctl/group/session.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/typed/verb_runs.h"
#include "client/grpctl/typed/verbs.h"

namespace GrpCtl {

namespace {

using Words = std::vector<std::string>;

struct Candidate {
    std::string word;
    std::string_view summary;
};
using Candidates = std::vector<Candidate>;

bool BeginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// The line as far as it is typed.
struct Line {
    const Verb* verb = nullptr;
    const Switch* pending = nullptr;  // whose value is being typed
    bool isBehindDashes = false;
    bool isHelp = false;
    Words operands;
    Options options;  // which owner
    std::string typed;
    std::string before;  // of the typed word, what is no part of the choice: "--output="
};

const Switch* FindSwitch(std::string_view spelling, const Verb* verb) {
    for (const Switch& entry : Switches()) {
        const Words names = Split(entry.spelling, ',');
        const bool isMeant = std::find(names.begin(), names.end(), spelling) != names.end();
        if (isMeant && (verb == nullptr ? entry.verbs.empty() : Applies(entry, verb->name))) {
            return &entry;
        }
    }
    return nullptr;
}

void TakeValue(const Switch& entry, const std::string& value, Options& options) {
    if (entry.spelling == "--owner" || entry.spelling == "--socket") {
        entry.apply(options, value);
    }
}

void TakeWord(const std::string& word, Line& line) {
    const size_t equals = word.find('=');
    if (line.pending != nullptr) {
        TakeValue(*line.pending, word, line.options);
        line.pending = nullptr;
    } else if (word == "--") {
        line.isBehindDashes = true;
    } else if (BeginsWith(word, "-") && !line.isBehindDashes) {
        const Switch* const entry = FindSwitch(word.substr(0, equals), line.verb);
        if (entry != nullptr && equals != std::string::npos) {
            TakeValue(*entry, word.substr(equals + 1), line.options);
        } else if (entry != nullptr && !entry->value.empty()) {
            line.pending = entry;
        }
    } else if (line.verb == nullptr && !line.isHelp) {
        line.verb = FindVerb(word);
        line.isHelp = word == "help";
    } else {
        line.operands.push_back(word);
    }
}

Line Read(const Words& words) {
    Line line;
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        TakeWord(words[i], line);
    }
    line.typed = words.empty() ? "" : words.back();
    const size_t equals = line.typed.find('=');
    if (line.pending == nullptr && BeginsWith(line.typed, "--") && equals != std::string::npos) {
        line.pending = FindSwitch(line.typed.substr(0, equals), line.verb);
        line.before = line.typed.substr(0, equals + 1);
        line.typed.erase(0, equals + 1);
    }
    return line;
}

Candidates VerbCandidates() {
    Candidates candidates;
    for (const Verb& verb : Verbs()) {
        candidates.push_back({std::string(verb.name), verb.summary});
    }
    return candidates;
}

Candidates SwitchCandidates(const Verb* verb) {
    Candidates candidates;
    for (const Switch& entry : Switches()) {
        if (verb == nullptr ? entry.verbs.empty() : Applies(entry, verb->name)) {
            candidates.push_back({Split(entry.spelling, ',').back(), entry.help});
        }
    }
    return candidates;
}

Candidates Applications(const Options& options, const Words& without) {
    Session session(options);
    Candidates candidates;
    for (const std::string& name : Need(session.Client().List()).names) {
        if (std::find(without.begin(), without.end(), name) == without.end()) {
            candidates.push_back({name, ""});
        }
    }
    return candidates;
}

// A list grows behind its last comma.
Candidates ListCandidates(Line& line) {
    const size_t comma = line.typed.rfind(',');
    Words without;
    if (comma != std::string::npos) {
        without = Split(line.typed.substr(0, comma), ',');
        line.before += line.typed.substr(0, comma + 1);
        line.typed.erase(0, comma + 1);
    }
    return Applications(line.options, without);
}

Candidates ValueCandidates(Line& line) {
    const Switch& entry = *line.pending;
    if (entry.value == "FILE" || entry.value == "PATH") {
        return {{":files", ""}};
    }
    if (entry.value == "NAME,...") {
        return ListCandidates(line);
    }
    if (entry.value == "NAME" && entry.spelling != "--owner") {
        return Applications(line.options, {});
    }
    Candidates candidates;
    for (const std::string& word : entry.words.empty() ? Words() : Split(entry.words, '|')) {
        candidates.push_back({word, ""});
    }
    if (entry.spelling == "--owner") {
        for (const std::string& name : OwnerNames()) {
            candidates.push_back({name, ""});
        }
    }
    return candidates;
}

Candidates OperandCandidates(Line& line) {
    const std::string_view operands = line.verb->operands;
    if (line.operands.size() >= line.verb->most) {
        return {};
    }
    if (BeginsWith(operands, "FILE") || BeginsWith(operands, "[FILE")) {
        return {{":files", ""}};
    }
    if (BeginsWith(operands, "[diff ")) {
        return line.operands.empty() ? Candidates{{"diff", "Compare two boots"}}
                                     : Candidates{{":files", ""}};
    }
    const size_t equals = line.typed.find('=');
    if (BeginsWith(operands, "NAME[=OPTION]") && equals != std::string::npos) {
        line.before = line.typed.substr(0, equals + 1);
        line.typed.erase(0, equals + 1);
        return {{"start", ""}, {"stop", ""}, {"restart", ""}};
    }
    if (BeginsWith(operands, "NAME") || BeginsWith(operands, "[NAME")) {
        return Applications(line.options, line.operands);
    }
    Candidates candidates;
    if (BeginsWith(operands, "STATE")) {
        for (const std::string& name : SystemStateNames()) {
            candidates.push_back({name, ""});
        }
    }
    return candidates;
}

Candidates Find(Line& line) {
    if (line.pending != nullptr) {
        return ValueCandidates(line);
    }
    if (line.isBehindDashes && line.verb != nullptr && line.verb->takesArguments) {
        return {{":files", ""}};  // arguments of a program that we do not know
    }
    if (BeginsWith(line.typed, "-") && !line.isBehindDashes) {
        return SwitchCandidates(line.verb);
    }
    if (line.isHelp && !line.operands.empty()) {
        return {};
    }
    return line.verb == nullptr ? VerbCandidates() : OperandCandidates(line);
}

}  // namespace

void Complete(const Words& words) {
    // Nobody waits long for a word.
    (void)std::signal(SIGALRM, [](int) { std::_Exit(0); });
    (void)alarm(1);
    Line line = Read(words);
    Candidates candidates;
    try {
        candidates = Find(line);
    } catch (const Failure&) {
        return;  // without an owner there is nothing to choose from
    }
    for (const Candidate& candidate : candidates) {
        if (candidate.word == ":files") {
            Put(":files\n");
        } else if (BeginsWith(candidate.word, line.typed)) {
            Put(line.before + candidate.word + (candidate.summary.empty() ? "" : "\t") +
                std::string(candidate.summary) + "\n");
        }
    }
}

}  // namespace GrpCtl
