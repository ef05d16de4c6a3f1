#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace GrpCtl {

/// Keys stay in the order in which they were written.
using Json = nlohmann::ordered_json;

/// An object that says which form it has: the keys that are there keep their meaning.
Json NewObject();

/// Writes it over several lines, or as one line of a stream.
void PutJson(const Json& object);
void PutJsonLine(const Json& object);

}  // namespace GrpCtl
