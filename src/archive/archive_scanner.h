#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/input_file.h"

namespace mos {

/// Walks the members of an archive by its local headers, front to back, with memory for one name
/// and one buffer. What is missing at the end of a truncated file counts as zero bytes in a header,
/// and makes a name or data as short as the file. The central directory, CRCs, methods, flags and
/// compressed sizes are not looked at.
class ArchiveScanner {
public:
    struct Member {
        std::string name; ///< as stored
        std::uint32_t claimedSize = 0;
        std::uint64_t availableSize = 0; ///< claimedSize, or less where the file ends earlier
    };

    /// Opens the file; a directory cannot be opened.
    explicit ArchiveScanner(const std::filesystem::path& path);

    /// Walks a file that is open, or was not opened, from its beginning.
    explicit ArchiveScanner(InputFile archive);

    [[nodiscard]] bool isOpen() const;

    /// The next member; what was not read of the one before is skipped. Nothing at the end of the
    /// file and where something else than a local header begins.
    [[nodiscard]] std::optional<Member> next();

    /// Goes back to the first member. False when the file cannot be read again.
    [[nodiscard]] bool rewind();

    /// The next piece of the current member's data, as long as is convenient; empty at its end.
    /// Valid until the next call of any operation.
    [[nodiscard]] std::span<const std::byte> data();

    /// Whether the file could not be read to its end: what seemed to be the end was none.
    [[nodiscard]] bool hasFailed() const;

private:
    [[nodiscard]] std::span<const std::byte> take(std::uint64_t most);
    std::size_t readBytes(std::span<std::byte> bytes);
    void skipBytes(std::uint64_t count);
    void fillBuffer();

    InputFile file;
    std::uint64_t unreadLeft = 0;         ///< of the file, behind what was ever buffered
    std::uint64_t dataLeft = 0;           ///< of the current member, behind the position
    std::unique_ptr<std::byte[]> storage; // NOLINT(modernize-avoid-c-arrays): not cleared first
    std::span<const std::byte> buffered;  ///< what of `storage` is behind the position
};

} // namespace mos
