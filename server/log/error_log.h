#pragma once

#include <string_view>

namespace mos::server {

/// Tells the operator of something that went wrong inside: one line on standard error.
void reportError(std::string_view text) noexcept;

} // namespace mos::server
