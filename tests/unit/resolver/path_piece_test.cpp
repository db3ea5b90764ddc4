#include "resolver/path_piece.h"

#include <gtest/gtest.h>

#include <string>

namespace mos {
namespace {

TEST(PathPiece, isSafeWhenItCannotLeaveItsDirectory) {
    for (const std::string& text : {std::string("json"), std::string(".hidden"), std::string("a b"),
                                    std::string("1.0.0-rc+b"), std::string("\xC3\xA4")}) {
        EXPECT_TRUE(isSafePathPiece(text)) << text;
    }
    for (const std::string& text :
         {std::string(), std::string("."), std::string(".."), std::string("a/b"), std::string("/"),
          std::string("a\\b"), std::string("c:"), std::string("a\nb"), std::string("a\x7F"),
          std::string("a\0b", 3), std::string("\x1F")}) {
        EXPECT_FALSE(isSafePathPiece(text)) << text;
    }
}

} // namespace
} // namespace mos
