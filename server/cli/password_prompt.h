#pragma once

#include <string>

namespace mos::server {

/// A new password: typed twice at a terminal without showing it, or else the first line of standard
/// input. Throws Failure when the two differ or there is no input.
[[nodiscard]] std::string askForNewPassword();

} // namespace mos::server
