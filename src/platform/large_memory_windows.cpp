#include <windows.h>

#include <new>
#include <utility>

#include "platform/large_memory.h"

namespace mos {

LargeMemory::LargeMemory(std::size_t size) {
    if (size == 0) {
        return;
    }
    // Large pages want a right that hardly any user has; the ordinary ones do as well.
    void* const address = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (address == nullptr) {
        throw std::bad_alloc();
    }
    memory = {static_cast<std::byte*>(address), size};
}

LargeMemory::~LargeMemory() {
    if (!memory.empty()) {
        static_cast<void>(VirtualFree(memory.data(), 0, MEM_RELEASE));
    }
}

LargeMemory::LargeMemory(LargeMemory&& other) noexcept : memory(std::exchange(other.memory, {})) {}

} // namespace mos
