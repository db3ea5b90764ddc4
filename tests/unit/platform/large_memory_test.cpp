#include "platform/large_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace mos {
namespace {

TEST(LargeMemory, HasItsSizeAndIsZero) {
    const LargeMemory memory(100'000);
    EXPECT_EQ(memory.bytes().size(), 100'000U);
    EXPECT_EQ(std::ranges::count(memory.bytes(), std::byte{0}), 100'000);
}

TEST(LargeMemory, OfNoBytesThereIsNone) {
    const LargeMemory memory(0);
    EXPECT_TRUE(memory.bytes().empty());
}

TEST(LargeMemory, MovesWithItsBytes) {
    LargeMemory memory(1000);
    memory.bytes()[999] = std::byte{7};
    const LargeMemory taken(std::move(memory));
    EXPECT_EQ(taken.bytes().size(), 1000U);
    EXPECT_EQ(taken.bytes()[999], std::byte{7});
}

TEST(LargeMemory, MoreThanThereIsCannotBeHad) {
    EXPECT_THROW(LargeMemory(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

} // namespace
} // namespace mos
