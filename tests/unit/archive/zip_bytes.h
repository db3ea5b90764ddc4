#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Pieces of ZIP files as plain bytes, for tests that build archives the writer would not.
namespace mos::test {

[[nodiscard]] inline std::string littleEndian(std::uint64_t value, int width) {
    std::string bytes;
    for (int i = 0; i < width; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
    }
    return bytes;
}

struct LocalHeader {
    std::uint32_t signature = 0x04034B50;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t uncompressedSize = 0;
    std::uint16_t nameLength = 0;
    std::uint16_t extraLength = 0;

    [[nodiscard]] std::string bytes() const {
        return littleEndian(signature, 4) + littleEndian(10, 2) + littleEndian(flags, 2) +
               littleEndian(method, 2) + littleEndian(0, 4) + littleEndian(crc, 4) +
               littleEndian(compressedSize, 4) + littleEndian(uncompressedSize, 4) +
               littleEndian(nameLength, 2) + littleEndian(extraLength, 2);
    }
};

/// A stored member as it stands in an archive.
[[nodiscard]] inline std::string member(std::string_view name, std::string_view data) {
    LocalHeader header;
    header.compressedSize = static_cast<std::uint32_t>(data.size());
    header.uncompressedSize = static_cast<std::uint32_t>(data.size());
    header.nameLength = static_cast<std::uint16_t>(name.size());
    return header.bytes() + std::string(name) + std::string(data);
}

} // namespace mos::test
