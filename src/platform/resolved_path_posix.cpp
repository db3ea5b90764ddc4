#include "platform/resolved_path.h"

#include <algorithm>
#include <system_error>

namespace mos {
namespace {

/// As many links as the system itself follows before it gives up.
constexpr int maximumLinks = 40;

std::optional<std::filesystem::path> weaklyCanonical(const std::filesystem::path& path,
                                                     std::error_code& error) {
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

/// The link, of those in `path`, that leads to something missing; empty when there is none. Of a
/// path that is weakly canonical only the pieces behind the existing part can be links. `error`
/// when the system does not say what a piece is.
std::filesystem::path linkToNothing(const std::filesystem::path& path, std::error_code& error) {
    for (std::filesystem::path piece = path; piece.has_relative_path();
         piece = piece.parent_path()) {
        const auto type = std::filesystem::symlink_status(piece, error).type();
        if (type == std::filesystem::file_type::symlink) {
            return piece;
        }
        if (type != std::filesystem::file_type::not_found) {
            return {};
        }
    }
    error.clear();
    return {};
}

} // namespace

std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path) {
    std::error_code error;
    return resolvedPath(path, error);
}

std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path,
                                                  std::error_code& error) {
    error.clear();
    std::filesystem::path next = path;
    for (int links = 0; links < maximumLinks; ++links) {
        auto resolved = weaklyCanonical(next, error);
        const std::filesystem::path link = resolved ? linkToNothing(*resolved, error) : "";
        if (error) {
            return std::nullopt;
        }
        if (link.empty()) {
            return resolved;
        }
        // Writing to it would create its target.
        next = link.parent_path() / std::filesystem::read_symlink(link, error);
        const auto rest = resolved->native().substr(link.native().size());
        next += rest;
        if (error) {
            return std::nullopt;
        }
    }
    error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
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
