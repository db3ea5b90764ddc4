#pragma once

#include <string>

namespace mos::server {

/// What one client can be told by: an IPv4 address itself, of an IPv6 address its first 64 bits,
/// since a single client has all addresses behind them. Any other text is returned as it is.
[[nodiscard]] std::string clientNetwork(const std::string& address);

} // namespace mos::server
