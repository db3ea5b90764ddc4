#pragma once

#include <filesystem>

namespace mos::server {

/// Creates the database file (readable by its owner alone) with its tables, unless it is there.
/// Throws DatabaseError for a file of another program or of a later version of this one.
void prepareDatabase(const std::filesystem::path& path);

} // namespace mos::server
