#pragma once
// How the picture looks: colours for light and dark, and shapes that do not need them.

#include <string>
#include <string_view>

#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

/// The style sheet and the shapes.
/// @param nameFont the size of applications' names
std::string StyleOfPicture(double nameFont);

std::string_view StyleOf(Stage stage);
std::string_view ShapeOf(MarkKind kind);
std::string_view WordOf(MarkKind kind);

}  // namespace GrpCtl::Timeline
