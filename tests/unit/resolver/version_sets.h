#pragma once

#include <cstddef>
#include <vector>

#include "resolver/version_set.h"

namespace mos {

inline VersionSet setOf(const std::vector<std::size_t>& places) {
    VersionSet set;
    for (const std::size_t place : places) {
        set.insert(place);
    }
    return set;
}

} // namespace mos
