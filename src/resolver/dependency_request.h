#pragma once

#include <string>
#include <string_view>

namespace mos {

/// What `add` was asked for: NAME or NAME@CONSTRAINT.
struct DependencyRequest {
    std::string name;
    std::string constraintText; ///< behind the first "@"; may be empty
};

/// Splits `argument` at its first "@".
[[nodiscard]] DependencyRequest parseDependencyRequest(std::string_view argument);

} // namespace mos
