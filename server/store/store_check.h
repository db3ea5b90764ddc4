#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/store/data_directory.h"
#include "server/store/database.h"

namespace mos::server {

/// What a look at everything that is stored found.
struct StoreReport {
    std::uint64_t versions = 0;
    std::uint64_t bytes = 0;          ///< of all archives that versions have
    std::uint64_t unusedArchives = 0; ///< of no version: left by interrupted publications, harmless
    std::vector<std::string> problems; ///< a sentence each; empty when everything is in order
};

/// Reads and hashes every archive, compares the public files, and lets the database check itself. A
/// server may go on serving meanwhile.
[[nodiscard]] StoreReport checkStore(Database& database, const DataDirectory& data);

} // namespace mos::server
