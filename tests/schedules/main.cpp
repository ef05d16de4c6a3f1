// Tells the stories of many seeds, each in a process of its own, as many at a time as there are
// processors, and some of them twice.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>

namespace Schedules {

/// Ends the process when a rule is broken.
/// @return the digest of all that happened
uint64_t TellStory(uint64_t seed, bool isPrinting);

}  // namespace Schedules

namespace {

constexpr unsigned kLongest = 120;   // seconds; a story takes milliseconds
constexpr uint64_t kToldTwice = 50;  // one of so many seeds

uint64_t firstSeed = 1;
uint64_t seedCount = 1;
bool isPrinting = false;
uint64_t* digests = nullptr;  // of all places, which the children write
std::map<pid_t, uint64_t> children;
unsigned failures = 0;

bool Parse(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--log") {
            isPrinting = true;
            continue;
        }
        const uint64_t number = i + 1 < argc ? std::strtoull(argv[++i], nullptr, 10) : 0;
        const bool isCount = option == "--seeds";
        if (number == 0 || !(isCount || option == "--first" || option == "--seed")) {
            return false;
        }
        (isCount ? seedCount : firstSeed) = number;
    }
    return true;
}

uint64_t SeedAt(uint64_t place) {
    return firstSeed + (place < seedCount ? place : (place - seedCount) * kToldTwice);
}

void Fail(uint64_t place, const char* how) {
    ++failures;
    std::fprintf(stderr, "seed %lu: %s; alone: schedules --seed %lu --log\n", SeedAt(place), how,
                 SeedAt(place));
}

void BeginChild(uint64_t place) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kLongest);
        digests[place] = Schedules::TellStory(SeedAt(place), isPrinting);
        std::fflush(stdout);
        _exit(0);
    }
    if (child < 0) {
        std::perror("fork");
        std::exit(2);
    }
    children[child] = place;
}

void AwaitChild() {
    int status = 0;
    const auto child = children.find(wait(&status));
    if (status != 0) {
        Fail(child->second, WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "broken");
    }
    children.erase(child);
}

}  // namespace

int main(int argc, char** argv) {
    if (!Parse(argc, argv)) {
        std::fprintf(stderr, "usage: schedules [--seeds N] [--first S | --seed S] [--log]\n");
        return 2;
    }
    const uint64_t places = seedCount + (seedCount + kToldTwice - 1) / kToldTwice;
    digests =
        static_cast<uint64_t*>(mmap(nullptr, places * sizeof(uint64_t), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const size_t most = isPrinting ? 1 : std::thread::hardware_concurrency();
    const uint64_t end = isPrinting ? seedCount : places;
    for (uint64_t place = 0; (place < end && failures < 10) || !children.empty();) {
        if (place < end && failures < 10 && children.size() < most) {
            BeginChild(place++);
        } else {
            AwaitChild();
        }
    }
    for (uint64_t place = seedCount; place < end && failures == 0; ++place) {
        if (digests[place] != digests[(place - seedCount) * kToldTwice]) {
            Fail(place, "told twice, different");
        }
    }
    std::printf("%lu seeds, %u failures\n", seedCount, failures);
    return failures == 0 ? 0 : 1;
}
