#pragma once

#include <cstdint>

namespace mos {

/// Process-wide console switches. Only the dispatcher writes them.
struct OutputSettings {
    std::uint32_t verbosity = 0; ///< 0 normal, 1 verbose, 2 debug, 3 trace
    bool color = true;           ///< never cleared: colours are written whatever the terminal is
    bool json = false;           ///< machine-readable mode: no status and no debug lines
};

/// The settings of this process.
OutputSettings& outputSettings() noexcept;

} // namespace mos
