#include <sys/mman.h>

#include <new>
#include <utility>

#include "platform/large_memory.h"

namespace mos {

LargeMemory::LargeMemory(std::size_t size) {
    if (size == 0) {
        return;
    }
    void* const address =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED) {
        throw std::bad_alloc();
    }
    // Advice only: a kernel without large pages says no, and small ones do as well.
    static_cast<void>(::madvise(address, size, MADV_HUGEPAGE));
    memory = {static_cast<std::byte*>(address), size};
}

LargeMemory::~LargeMemory() {
    if (!memory.empty()) {
        static_cast<void>(::munmap(memory.data(), memory.size()));
    }
}

LargeMemory::LargeMemory(LargeMemory&& other) noexcept : memory(std::exchange(other.memory, {})) {}

} // namespace mos
