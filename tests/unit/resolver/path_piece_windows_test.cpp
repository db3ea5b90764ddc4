#include <gtest/gtest.h>

#include "resolver/path_piece.h"

namespace mos {
namespace {

TEST(PathPieceWindows, NamesOfDevicesAndNamesThatLoseTheirEndAreNotSafe) {
    // "..." would be read as the directory itself, "a." as its neighbour "a".
    for (const char* const text : {"NUL", "con", "COM1", "aux.txt", "CONIN$", "...", "a.", "a ",
                                   ". .", "a*b", "a<b", "a|b", "\xFF"}) {
        EXPECT_FALSE(isSafePathPiece(text)) << text;
    }
    for (const char* const text : {"null", "console", ".a", "a.b", "1.0.0-rc.1+b"}) {
        EXPECT_TRUE(isSafePathPiece(text)) << text;
    }
}

} // namespace
} // namespace mos
