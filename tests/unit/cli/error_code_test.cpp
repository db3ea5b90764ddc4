#include "cli/error_code.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/mos_exception.h"

namespace mos {
namespace {

std::string shown(int value) {
    const auto code = static_cast<ErrorCode>(value);
    return std::string(displayCode(code)) + " " + std::string(errorTitle(code));
}

TEST(ErrorCode, hasADisplayCodeOneHigherThanItsValueAndATitle) {
    const std::vector<std::string> expected{
        "MOS001 manifest parse error",
        "MOS002 invalid package name",
        "MOS003 invalid version or constraint",
        "MOS004 dependency not found",
        "MOS005 dependency conflict",
        "MOS006 package not found",
        "MOS007 checksum verification failed",
        "MOS008 registry error",
        "MOS009 authentication error",
        "MOS010 invalid package archive",
        "MOS011 path traversal security violation",
        "MOS012 build failed",
    };
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(shown(static_cast<int>(i)), expected[i]);
    }
}

TEST(ErrorCode, outsideTheEnumerationIsMos000) {
    for (const int value : {-1, 12, 1000, -2147483647}) {
        EXPECT_EQ(shown(value), "MOS000 error") << value;
    }
}

TEST(MosException, saysItsMessageAndCopiesAllFields) {
    const MosException original(ErrorCode::PathTraversal, "m", "h", 7);
    const MosException copy = original; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_STREQ(copy.what(), "m");
    EXPECT_EQ(copy.code, ErrorCode::PathTraversal);
    EXPECT_EQ(copy.message, "m");
    EXPECT_EQ(copy.help, "h");
    EXPECT_EQ(copy.exitCode, 7);
}

} // namespace
} // namespace mos
