#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "store/background_digest.h"

namespace mos {

/// A .mos container (package_archive.h) in the making. Its checksums are computed on another
/// processor, where there is one, from the moment its members are added.
class ArchiveBuilder {
public:
    /// Appends a member, every "\" of its name as "/". The data have to stay as they are until
    /// this object goes.
    ///
    /// Counts, lengths, sizes and offsets beyond the width of their fields are truncated.
    void add(std::string_view name, std::span<const std::byte> data);

    /// How many members there are.
    [[nodiscard]] std::size_t size() const noexcept { return members.size(); }

    /// Writes the archive; may be called once. The parent directory must exist. False with the
    /// reason in `error` (when given) when the file cannot be opened or written. The SHA-256 of
    /// what was written, as hexadecimal digits, goes to `digest` (when given).
    [[nodiscard]] bool write(const std::filesystem::path& path, std::string* error,
                             std::string* digest);

private:
    struct Member {
        std::string name;
        std::string header; ///< without its CRC until the member counts as summed
        std::span<const std::byte> data;
        std::uint32_t offset = 0;
        std::uint32_t crc = 0; ///< 0 until the member counts as summed
    };

    void sum(Member& member, Sha256& digest) noexcept;
    void waitUntilSummed(std::size_t index) const noexcept;
    [[nodiscard]] std::string centralDirectory() const;

    std::deque<Member> members;
    std::uint64_t position = 0; ///< of the next member
    std::string directory;
    std::atomic<std::size_t> summedCount = 0; ///< of members, from the first one on
    BackgroundDigest checksums;               ///< works on all of the above, so it goes first
};

} // namespace mos
