// A client of the measured owner that stays connected, so that what is timed is the owner and the
// wire, not the start of a program.
//
//   client_probe SOCKET
//
// Orders come on standard input, one a line; each is answered by "<begin> <end>" in nanoseconds of
// the monotonic clock, or by "error <text>", and what was asked for must have come true:
//
//   change NAME=t|s|r…  terminate, start, restart; as many records as it takes, in this order
//   query NAME…         all of them must run
//   list COUNT          that many names

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/ss_client.h"
#include "client/ss_wire.h"

namespace {

using GrpOwnerClient::Change;
using GrpOwnerClient::SsClient;
using ProcMgr::OptionType;

constexpr std::chrono::milliseconds kTimeout{60000};

template <typename T>
T Need(GrpOwnerClient::Result<T> result) {
    if (!result) {
        throw std::runtime_error(result.GetError().message);
    }
    return std::move(*result);
}

void Require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::vector<std::string> Words(std::istringstream& line) {
    std::vector<std::string> words;
    for (std::string word; line >> word;) {
        words.push_back(word);
    }
    return words;
}

Change ToChange(const std::string& word) {
    const size_t equals = word.find('=');
    Require(equals != std::string::npos && equals + 2 == word.size(), "what is " + word);
    Change change;
    change.name = word.substr(0, equals);
    switch (word.back()) {
        case 't':
            change.option = OptionType::TERM;
            break;
        case 's':
            change.option = OptionType::START;
            break;
        case 'r':
            change.option = OptionType::RESTART;
            break;
        default:
            throw std::runtime_error("what is " + word);
    }
    return change;
}

// As few change sets as records allow.
std::vector<std::vector<Change>> Split(const std::vector<std::string>& words) {
    constexpr size_t kHead = 5;  // "1024#"
    constexpr size_t kRest = 7;  // "#0#0#0#"
    std::vector<std::vector<Change>> parts;
    size_t room = 0;
    for (const std::string& word : words) {
        Change change = ToChange(word);
        const size_t size = change.name.size() + kRest;
        if (room < size || parts.back().size() == GrpOwnerClient::SsWire::kMaxEntries) {
            parts.emplace_back();
            room = GrpOwnerClient::SsWire::kDataSize - kHead;
        }
        room -= size;
        parts.back().push_back(std::move(change));
    }
    return parts;
}

/// What an order does; all that can be done beforehand is.
class Probe {
public:
    explicit Probe(SsClient client) : client_(std::move(client)) {}

    std::string Obey(const std::string& text) {
        std::istringstream line(text);
        std::string order;
        line >> order;
        const std::vector<std::string> words = Words(line);
        if (order == "change") {
            return DoChange(Split(words));
        }
        if (order == "query") {
            return DoQuery(words);
        }
        Require(order == "list" && words.size() == 1, "what is " + text);
        return DoList(std::stoul(words.front()));
    }

private:
    static long long Now() {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    static std::string Since(long long begin) {
        const long long end = Now();
        return std::to_string(begin) + " " + std::to_string(end);
    }

    std::string DoChange(const std::vector<std::vector<Change>>& parts) {
        const long long begin = Now();
        for (const std::vector<Change>& part : parts) {
            const auto answer = Need(client_.ChangeApps(part, kTimeout));
            Require(answer.isOk, "the change set has failed");
        }
        return Since(begin);
    }

    std::string DoQuery(const std::vector<std::string>& names) {
        const long long begin = Now();
        const auto statuses = Need(client_.Query(names, kTimeout));
        const std::string answer = Since(begin);
        const auto up = std::count_if(statuses.begin(), statuses.end(),
                                      [](const auto& status) { return status.state == 0; });
        Require(static_cast<size_t>(up) == names.size(), std::to_string(up) + " of them run");
        return answer;
    }

    std::string DoList(size_t count) {
        const long long begin = Now();
        const auto list = Need(client_.List());
        const std::string answer = Since(begin);
        Require(list.names.size() == count, std::to_string(list.names.size()) + " are listed");
        return answer;
    }

    SsClient client_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: client_probe SOCKET\n";
        return 2;
    }
    auto client = SsClient::Connect(argv[1]);
    if (!client) {
        std::cerr << client.GetError().message << '\n';
        return 1;
    }
    Probe probe(std::move(*client));
    std::cout << "connected" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        try {
            std::cout << probe.Obey(line) << std::endl;
        } catch (const std::exception& error) {
            std::cout << "error " << error.what() << std::endl;
        }
    }
    return 0;
}
