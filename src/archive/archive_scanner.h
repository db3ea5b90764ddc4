#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>

namespace mos {

/// Walks the members of an archive by its local headers, front to back, with memory for one name
/// at a time. What is missing at the end of a truncated file counts as zero bytes in a header, and
/// makes a name or data as short as the file. The central directory, CRCs, methods, flags and
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

    [[nodiscard]] bool isOpen() const;

    /// The next member; what was not read of the one before is skipped. Nothing at the end of the
    /// file and where something else than a local header begins.
    [[nodiscard]] std::optional<Member> next();

    /// Reads on in the data of the current member; returns the number of bytes read, 0 at its end.
    [[nodiscard]] std::size_t readData(std::span<std::byte> buffer);

private:
    std::size_t readBytes(void* bytes, std::uint64_t count);
    void skipBytes(std::uint64_t count);

    std::ifstream file;
    std::uint64_t bytesLeft = 0; ///< of the file, behind the position
    std::uint64_t dataLeft = 0;  ///< of the current member, behind the position
};

} // namespace mos
