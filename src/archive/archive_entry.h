#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace mos {

/// One member of an archive.
struct ArchiveEntry {
    std::string name; ///< path inside the archive, "/" between its pieces when written by mos
    std::vector<std::byte> data;
};

} // namespace mos
