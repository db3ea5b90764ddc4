#include "platform/full_path_windows.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace mos {
namespace {

TEST(VerbatimPath, IsFullAndHasItsPrefix) {
    EXPECT_EQ(verbatimPath(LR"(C:\a\..\b/c)").native(), LR"(\\?\C:\b\c)");
    EXPECT_EQ(verbatimPath(LR"(\\server\share\a)").native(), LR"(\\?\UNC\server\share\a)");
    EXPECT_EQ(verbatimPath("file"), verbatimPath(std::filesystem::current_path() / "file"));
}

TEST(VerbatimPath, WhatHasOneOrNeedsNoneStays) {
    EXPECT_EQ(verbatimPath(LR"(\\?\C:\a.)").native(), LR"(\\?\C:\a.)");
    EXPECT_EQ(verbatimPath(LR"(\\.\pipe\a)").native(), LR"(\\.\pipe\a)");
    EXPECT_EQ(verbatimPath(L"").native(), L"");
}

} // namespace
} // namespace mos
