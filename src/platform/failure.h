#pragma once

#include <string>
#include <utility>

namespace mos {

/// Puts the reason for a failure into `*error`, where somebody asked for it. Returns false, for the
/// caller to return.
inline bool fail(std::string* error, std::string reason) {
    if (error != nullptr) {
        *error = std::move(reason);
    }
    return false;
}

} // namespace mos
