#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "platform/large_memory.h"

namespace mos {

/// The contents of many files, one after the other in few pieces of memory. They stay where they
/// are until this object goes.
class FileContents {
public:
    /// Reads a whole file; nothing when it cannot be opened or read. Throws std::bad_alloc.
    [[nodiscard]] std::optional<std::span<const std::byte>> read(const std::filesystem::path& path);

private:
    void makeRoom(std::size_t size);

    std::vector<LargeMemory> pieces;
    std::span<std::byte> room; ///< what is unused of the last piece
};

} // namespace mos
