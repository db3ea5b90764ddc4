#include <gtest/gtest.h>

#include "resolver/path_piece.h"

namespace mos {
namespace {

TEST(PathPiecePosix, OtherSystemsNamesAreNamesLikeAnyOther) {
    for (const char* const text : {"...", "\xFF", "NUL", "com1.txt", "a.", "a ", "a*b", "a|b"}) {
        EXPECT_TRUE(isSafePathPiece(text)) << text;
    }
}

} // namespace
} // namespace mos
