#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/sha256.h"

namespace mos {

/// A .mos container (package_archive.h) in the making. The checksums of a member are computed when
/// it is added, while the processor has its data at hand.
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
        std::string header;
        std::span<const std::byte> data;
        std::uint32_t offset = 0;
        std::uint32_t crc = 0;
    };

    [[nodiscard]] std::string centralDirectory() const;

    std::vector<Member> members;
    std::uint64_t position = 0; ///< of the next member
    Sha256 digestSoFar;         ///< of the archive up to the next member
};

} // namespace mos
