#pragma once

#include <filesystem>
#include <string>

#include "server/api/registry_api.h"

namespace mos::server {

/// Packs the example packages in `scratch`, a directory that is made, and publishes them with
/// `token`. Throws StoreError when one is refused.
void publishExamples(RegistryApi& api, const std::string& token,
                     const std::filesystem::path& scratch);

} // namespace mos::server
