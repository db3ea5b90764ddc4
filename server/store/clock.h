#pragma once

#include <string>

/// The one door to the calendar.
namespace mos::server {

/// The time now, UTC, as "2026-01-31T12:00:00Z".
[[nodiscard]] std::string timestamp();

/// The same with milliseconds, as "2026-01-31T12:00:00.123Z".
[[nodiscard]] std::string preciseTimestamp();

} // namespace mos::server
