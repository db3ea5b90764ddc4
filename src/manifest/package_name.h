#pragma once

#include <string>
#include <string_view>

namespace mos {

/// Whether `name` may name a package of one's own. On false, `error` (when given) holds the one
/// reason.
[[nodiscard]] bool validate_package_name(std::string_view name, std::string* error);

} // namespace mos
