#pragma once

#include <cstddef>
#include <span>

namespace mos {

/// A piece of memory of its own from the system, in large pages where the system has them for its
/// size: touching it for the first time is then far cheaper. The bytes are zero at first.
class LargeMemory {
public:
    /// Throws std::bad_alloc when there is not that much memory.
    explicit LargeMemory(std::size_t size);
    ~LargeMemory();
    LargeMemory(const LargeMemory&) = delete;
    LargeMemory& operator=(const LargeMemory&) = delete;
    LargeMemory(LargeMemory&& other) noexcept;
    LargeMemory& operator=(LargeMemory&&) = delete;

    [[nodiscard]] std::span<std::byte> bytes() const noexcept { return memory; }

private:
    std::span<std::byte> memory;
};

} // namespace mos
