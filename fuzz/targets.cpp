#include "targets.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace mos::fuzz {

std::span<const Target> targets() {
    static constexpr std::array<Target, 12> all{{
        {"toml_reader", tomlReader},
        {"manifest", manifest},
        {"lockfile", lockfile},
        {"versions", versions},
        {"archive", archive},
        {"member_names", memberNames},
        {"registry_replies", registryReplies},
        {"urls", urls},
        {"credentials", credentials},
        {"server_requests", serverRequests},
        {"uploaded_manifest", uploadedManifest},
        {"uploaded_archive", uploadedArchive},
    }};
    return all;
}

void require(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

} // namespace mos::fuzz
