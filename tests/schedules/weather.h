#pragma once

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "platform/portable/manifest_fields.h"

namespace Schedules {

/// What a seed makes of the world around the owner.
enum class Weather {
    kCalm,    // one change set at a time, nothing goes wrong: all that can succeed does, and soon
    kHonest,  // applications end and managers get in each other's way; every report is true
    kStormy,  // reports are lost, late, doubled, in no order; sends fail; the process manager dies
};

using Random = std::mt19937_64;
using Names = std::vector<std::string>;

inline bool Chance(Random& random, unsigned percent) {
    return random() % 100 < percent;
}

template <typename List>
const auto& OneOf(const List& list, Random& random) {
    return *(std::begin(list) + static_cast<std::ptrdiff_t>(random() % std::size(list)));
}

template <typename Value>
Value OneOf(std::initializer_list<Value> list, Random& random) {
    return *(list.begin() + random() % list.size());
}

}  // namespace Schedules
