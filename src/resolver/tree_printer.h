#pragma once

#include <functional>
#include <string_view>

#include "resolver/resolution.h"

namespace mos {

/// Receives the text of a tree, piece by piece; false when no more is wanted.
using TreeOutput = std::function<bool(std::string_view)>;

/// Writes a resolution as an indented tree. A package that is reached along several paths is
/// written with its subtree each time; one that is among its own ancestors without it. Ends early
/// when `out` wants no more.
///
/// Memory grows with the depth of the tree, not with its size; no stack grows with either.
void printTree(const Resolution& resolution, const TreeOutput& out);

} // namespace mos
