#pragma once

namespace mos {

/// The next byte of standard input, 0 to 255; EOF at its end or on an error. What is typed at a
/// console arrives as UTF-8, whatever the console's own encoding.
[[nodiscard]] int readInputByte();

} // namespace mos
