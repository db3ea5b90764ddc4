#include "platform/temporary_name.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(TemporaryName, HoldsTheProcessAndTheMoment) {
    EXPECT_EQ(temporaryName(4711, 8150), ".mos-new-4711-8150");
}

TEST(TemporaryName, IsToldFromOthers) {
    EXPECT_TRUE(isTemporaryName(temporaryName(1, 0)));
    EXPECT_TRUE(isTemporaryName(".mos-new-18446744073709551615-18446744073709551615"));
    for (const char* other :
         {"", ".", "moss.toml", ".mos-new", ".mos-new-", ".mos-new-1", ".mos-new-1-", ".mos-new--1",
          ".mos-new-1-0.", ".mos-new-1-0-0", ".mos-new-1-a", ".mos-new-x-0", "mos-new-1-0",
          ".mos-old-1-0", ".mos-new-1 0", ".mos-new- 1-0"}) {
        EXPECT_FALSE(isTemporaryName(other)) << other;
    }
}

} // namespace
} // namespace mos
