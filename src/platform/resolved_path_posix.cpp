#include "platform/resolved_path.h"

#include <algorithm>
#include <system_error>

namespace mos {
namespace {

/// As many links as the system itself follows before it gives up.
constexpr int maximumLinks = 40;

std::optional<std::filesystem::path> weaklyCanonical(const std::filesystem::path& path) {
    std::error_code error;
    // An absolute path first: of a relative one whose first piece is missing the standard library
    // gives a relative result.
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (error) {
        return std::nullopt;
    }
    std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
    if (error) {
        return std::nullopt;
    }
    if (std::ranges::find(path, "..") == path.end()) {
        return resolved;
    }
    // What follows a missing piece is only looked at as text: in "missing/../link" the link is not
    // seen before the ".." is gone.
    resolved = std::filesystem::weakly_canonical(resolved, error);
    return error ? std::nullopt : std::optional(resolved);
}

} // namespace

std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path) {
    std::filesystem::path next = path;
    for (int links = 0; links < maximumLinks; ++links) {
        auto resolved = weaklyCanonical(next);
        std::error_code error;
        if (!resolved || !std::filesystem::is_symlink(*resolved, error)) {
            return resolved;
        }
        // A link to something that is missing: writing to it would create its target.
        next = resolved->parent_path() / std::filesystem::read_symlink(*resolved, error);
        if (error) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::filesystem::path canonicalPath(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path canonical = std::filesystem::canonical(path, error);
    if (error) {
        throw std::filesystem::filesystem_error("canonical", path, error);
    }
    return canonical;
}

} // namespace mos
