#include "platform/full_path_windows.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace mos {
namespace {

TEST(SystemPath, IsVerbatimWhenItIsLong) {
    EXPECT_EQ(systemPath(LR"(C:\a\..\b/c.)"), LR"(C:\a\..\b/c.)");
    EXPECT_EQ(systemPath("file"), L"file");
    const std::wstring deep(200, L'd');
    EXPECT_EQ(systemPath(LR"(C:\a\../)" + deep + L"/" + deep), LR"(\\?\C:\)" + deep + L"\\" + deep);
    const std::wstring here = std::filesystem::current_path().native();
    EXPECT_EQ(systemPath(deep + L"/" + deep), LR"(\\?\)" + here + L"\\" + deep + L"\\" + deep);
}

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
