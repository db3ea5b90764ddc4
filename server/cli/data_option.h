#pragma once

#include "server/cli/arguments.h"
#include "server/store/data_directory.h"

namespace mos::server {

/// The option that every command on a data directory has.
inline constexpr OptionSpec dataOption{"--data", "DIR",
                                       "the data directory (or MOS_REGISTRY_DATA)"};

enum class MissingData {
    IsCreated, ///< a first command makes the directory
    IsAFailure,
};

/// The data directory that --data or the environment names, ready for use. Throws Failure.
[[nodiscard]] DataDirectory dataDirectoryOf(const Arguments& arguments, MissingData missing);

} // namespace mos::server
