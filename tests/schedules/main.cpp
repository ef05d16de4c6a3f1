// Tells the stories of many seeds, each in a process of its own, as many at a time as there are
// processors.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <thread>

#include "tests/schedules/story.h"

namespace {

constexpr unsigned kLongest = 120;   // seconds; a story takes milliseconds
constexpr uint64_t kToldTwice = 50;  // one of so many seeds is told twice

struct Options {
    uint64_t first = 1;
    uint64_t count = 1;
    bool isPrinting = false;
};

std::optional<Options> Parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--log") {
            options.isPrinting = true;
            continue;
        }
        char* end = nullptr;
        const uint64_t number = i + 1 < argc ? std::strtoull(argv[++i], &end, 10) : 0;
        if (end == nullptr || *end != '\0' || number == 0) {
            return std::nullopt;
        }
        if (option == "--seeds") {
            options.count = number;
        } else if (option == "--first" || option == "--seed") {
            options.first = number;
        } else {
            return std::nullopt;
        }
    }
    return options;
}

/// The digests that the children hand over.
uint64_t* Share(size_t count) {
    void* const shared = mmap(nullptr, count * sizeof(uint64_t), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return shared == MAP_FAILED ? nullptr : static_cast<uint64_t*>(shared);
}

/// The seeds in the order in which they are told, some of them again at the end.
struct Running {
    const Options options;
    const uint64_t again = options.count > 1 ? (options.count + kToldTwice - 1) / kToldTwice : 0;
    uint64_t* const digests = Share(options.count + again);
    std::map<pid_t, uint64_t> children{};  // with their places
    uint64_t failures = 0;

    uint64_t SeedAt(uint64_t place) const {
        const bool isFirstTime = place < options.count;
        return options.first + (isFirstTime ? place : (place - options.count) * kToldTwice);
    }

    void Begin(uint64_t place) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            alarm(kLongest);
            digests[place] = Schedules::Tell(SeedAt(place), options.isPrinting);
            std::fflush(nullptr);
            _exit(0);
        }
        if (child < 0) {
            std::perror("fork");
            std::exit(2);
        }
        children[child] = place;
    }

    void AwaitOne() {
        int status = 0;
        const auto child = children.find(wait(&status));
        if (child == children.end()) {
            return;
        }
        if (status != 0) {
            Fail(SeedAt(child->second),
                 WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "failed");
        }
        children.erase(child);
    }

    void Fail(uint64_t seed, const char* how) {
        ++failures;
        std::fprintf(stderr, "seed %llu: %s; alone: schedules --seed %llu --log\n",
                     static_cast<unsigned long long>(seed), how,
                     static_cast<unsigned long long>(seed));
    }

    void CompareTwice() {
        for (uint64_t place = options.count; place < options.count + again; ++place) {
            if (digests[place] != digests[(place - options.count) * kToldTwice]) {
                Fail(SeedAt(place), "told twice, different");
            }
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    const std::optional<Options> options = Parse(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: schedules [--seeds N] [--first S] [--seed S] [--log]\n");
        return 2;
    }
    Running running{*options};
    const size_t most = options->isPrinting ? 1 : std::max(1U, std::thread::hardware_concurrency());
    for (uint64_t place = 0; place < options->count + running.again && running.failures < 10;
         ++place) {
        running.Begin(place);
        while (running.children.size() >= most) {
            running.AwaitOne();
        }
    }
    while (!running.children.empty()) {
        running.AwaitOne();
    }
    if (running.failures == 0) {
        running.CompareTwice();
    }
    std::printf("%llu seeds, %llu failures\n", static_cast<unsigned long long>(options->count),
                static_cast<unsigned long long>(running.failures));
    return running.failures == 0 ? 0 : 1;
}
