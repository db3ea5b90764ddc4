#pragma once

#include <string_view>

namespace mos::server {

/// What all paths begin with.
inline constexpr std::string_view packagesPath = "/api/v1/packages";
inline constexpr std::string_view searchPath = "/api/v1/search";
inline constexpr std::string_view loginPath = "/api/v1/auth/login";
inline constexpr std::string_view publishPath = "/api/v1/packages/publish";

/// The reason given for everything that is not there.
inline constexpr std::string_view notFoundReason = "not found";

/// How many packages a search shows at most.
inline constexpr std::size_t mostSearchResults = 200;

} // namespace mos::server
