#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "archive/member_content.h"
#include "platform/input_file.h"
#include "platform/large_memory.h"

namespace mos {

/// Reads files that become members of an archive. Small ones are held, one after the other in few
/// pieces of memory, until this object goes; the others are read here for their checksums and
/// once more for the archive, so that large projects take no more memory than small ones.
class FileContents {
public:
    /// `archive` is where the archive will be written. A file that this replaces is held whatever
    /// its size.
    explicit FileContents(std::filesystem::path archive) : archivePath(std::move(archive)) {}

    /// Reads a whole file; nothing when it cannot be opened or read. Throws std::bad_alloc.
    [[nodiscard]] std::optional<MemberContent> read(const std::filesystem::path& path);

private:
    [[nodiscard]] bool canBeHeld(const InputFile& file, const std::filesystem::path& path) const;
    [[nodiscard]] std::optional<MemberContent> hold(InputFile& file);
    [[nodiscard]] std::optional<MemberContent> checksum(InputFile& file,
                                                        const std::filesystem::path& path);
    [[nodiscard]] std::size_t readUpTo(InputFile& file, std::size_t size);
    [[nodiscard]] std::size_t readToEnd(InputFile& file);
    void makeRoom(std::size_t size);

    std::filesystem::path archivePath;
    std::vector<LargeMemory> pieces;
    std::span<std::byte> room; ///< what is unused of the last piece
    std::uint64_t heldSize = 0;
    std::optional<LargeMemory> buffer; ///< for what is not held
};

} // namespace mos
