#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <variant>

namespace mos {

/// What a member of an archive holds: data that stay as they are, or a file to read once more.
struct MemberContent {
    std::uint64_t size = 0; ///< in bytes
    std::uint32_t crc = 0;  ///< CRC-32
    std::variant<std::span<const std::byte>, std::filesystem::path> source;
};

} // namespace mos
