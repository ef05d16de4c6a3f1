#include "client/grpctl/group/dependency_study.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

namespace GrpCtl {

namespace {

// Who needs whom through others is a square of bits. It is looked at in strips: a configuration may
// have more applications than a whole square of them had room for.
constexpr size_t kWords = 64;
constexpr size_t kStrip = kWords * 64;
using Strip = std::array<uint64_t, kWords>;

void Set(Strip& strip, size_t bit) {
    strip[bit / 64] |= uint64_t{1} << (bit % 64);
}

void Merge(Strip& strip, const Strip& other) {
    for (size_t word = 0; word < kWords; ++word) {
        strip[word] |= other[word];
    }
}

size_t Count(const Strip& strip) {
    size_t count = 0;
    for (const uint64_t word : strip) {
        count += static_cast<size_t>(__builtin_popcountll(word));
    }
    return count;
}

std::optional<size_t> FirstCommon(const Strip& strip, const Strip& other) {
    for (size_t word = 0; word < kWords; ++word) {
        if (const uint64_t common = strip[word] & other[word]; common != 0) {
            return word * 64 + static_cast<size_t>(__builtin_ctzll(common));
        }
    }
    return std::nullopt;
}

// Each behind all that it needs.
std::vector<size_t> Order(const NeedsByNumber& needs) {
    std::vector<std::vector<size_t>> neededBy(needs.size());
    std::vector<size_t> left(needs.size());
    std::vector<size_t> order;
    for (size_t application = 0; application < needs.size(); ++application) {
        left[application] = needs[application].size();
        if (left[application] == 0) {
            order.push_back(application);
        }
        for (const size_t needed : needs[application]) {
            neededBy[needed].push_back(application);
        }
    }
    for (size_t next = 0; next < order.size(); ++next) {
        for (const size_t needing : neededBy[order[next]]) {
            if (--left[needing] == 0) {
                order.push_back(needing);
            }
        }
    }
    return order;
}

std::vector<size_t> Deepest(const NeedsByNumber& needs, const std::vector<size_t>& order) {
    std::vector<size_t> depth(needs.size(), 1);
    std::vector<std::optional<size_t>> below(needs.size());
    std::optional<size_t> top;
    for (const size_t application : order) {
        for (const size_t needed : needs[application]) {
            if (depth[needed] + 1 > depth[application]) {
                depth[application] = depth[needed] + 1;
                below[application] = needed;
            }
        }
        if (!top || depth[application] > depth[*top]) {
            top = application;
        }
    }
    std::vector<size_t> chain;
    for (; top; top = below[*top]) {
        chain.push_back(*top);
    }
    return chain;
}

/// Who needs each application, as far as they lie in the strip that begins here.
std::vector<Strip> NeedingWithin(const NeedsByNumber& needs, const std::vector<size_t>& order,
                                 size_t begin) {
    std::vector<Strip> needing(needs.size(), Strip{});
    for (auto next = order.rbegin(); next != order.rend(); ++next) {
        for (const size_t needed : needs[*next]) {
            Merge(needing[needed], needing[*next]);
            if (*next >= begin && *next < begin + kStrip) {
                Set(needing[needed], *next - begin);
            }
        }
    }
    return needing;
}

void FindRedundant(const NeedsByNumber& needs, const std::vector<Strip>& needing, size_t begin,
                   std::vector<RedundantNeed>& redundant) {
    for (size_t application = 0; application < needs.size(); ++application) {
        if (needs[application].size() < 2) {
            continue;
        }
        Strip needed{};
        for (const size_t one : needs[application]) {
            if (one >= begin && one < begin + kStrip) {
                Set(needed, one - begin);
            }
        }
        for (const size_t one : needs[application]) {
            if (const auto through = FirstCommon(needing[one], needed)) {
                redundant.push_back({application, one, begin + *through});
            }
        }
    }
}

}  // namespace

DependencyStudy Study(const NeedsByNumber& needs) {
    DependencyStudy study;
    study.falls.resize(needs.size());
    const std::vector<size_t> order = Order(needs);
    study.deepest = Deepest(needs, order);
    for (size_t begin = 0; begin < needs.size(); begin += kStrip) {
        const std::vector<Strip> needing = NeedingWithin(needs, order, begin);
        for (size_t application = 0; application < needs.size(); ++application) {
            study.falls[application] += Count(needing[application]);
        }
        FindRedundant(needs, needing, begin, study.redundant);
    }
    // Of several strips, the first one's is enough.
    const auto key = [](const RedundantNeed& one) {
        return std::make_pair(one.application, one.needed);
    };
    std::stable_sort(
        study.redundant.begin(), study.redundant.end(),
        [&](const RedundantNeed& a, const RedundantNeed& b) { return key(a) < key(b); });
    study.redundant.erase(std::unique(study.redundant.begin(), study.redundant.end(),
                                      [&](const RedundantNeed& a, const RedundantNeed& b) {
                                          return key(a) == key(b);
                                      }),
                          study.redundant.end());
    return study;
}

}  // namespace GrpCtl
