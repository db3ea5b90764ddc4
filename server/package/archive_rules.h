#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace mos::server {

/// What an archive that is published may hold at most.
struct ArchiveLimits {
    std::uint64_t bytes = std::uint64_t{32} * 1024 * 1024; ///< of the whole file
    std::size_t members = 10'000; ///< files; and as many directories that they lie in
    std::uint64_t manifestBytes = std::uint64_t{256} * 1024;
};

/// What reading an archive brought: the text of its moss.toml, or the reason why it is refused.
struct ArchiveReading {
    std::string manifest;
    std::string refusal; ///< one line; empty when the archive is in order
    std::string failure; ///< one line when the disk failed, so that nothing is known of the archive
};

/// Reads an archive that somebody wants to publish. It is in order when it is, byte for byte, what
/// mos writes for its members; their names stay below the directory they are unpacked into on
/// every system, are different even where case does not count, and moss.toml is one of them.
///
/// `digest` is the SHA-256 of the file. `scratch` is a path at which a file may be made; it is
/// removed again. Memory is bounded by the size of the archive.
[[nodiscard]] ArchiveReading readPublishedArchive(const std::filesystem::path& archive,
                                                  const std::string& digest,
                                                  const std::filesystem::path& scratch,
                                                  const ArchiveLimits& limits);

/// Why a member's name is refused; nothing when it is not.
[[nodiscard]] std::optional<std::string> refusalOfMemberName(const std::string& name);

} // namespace mos::server
