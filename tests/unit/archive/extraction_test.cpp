#include "archive/extraction.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "archive/zip_bytes.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using test::contentOf;
using test::LocalHeader;
using test::member;
using test::namesIn;
using test::TemporaryDirectory;

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Extraction : public testing::Test {
protected:
    /// Extracts an archive of these bytes; the error text, or nothing when that succeeds.
    [[nodiscard]] std::string failureOf(std::string_view bytes) const {
        test::writeFile(archive, bytes);
        std::string error;
        const bool done = extractArchive(archive, target, &error);
        EXPECT_EQ(done, error.empty());
        return error;
    }

    [[nodiscard]] std::string shown(std::string_view memberName) const {
        return (target / memberName).string();
    }

    TemporaryDirectory room;
    fs::path archive = room / "archive.mos";
    fs::path target = room / "target";
};

TEST_F(Extraction, MembersAreWrittenBelowTheTarget) {
    const std::string large(200'000, 'x');
    ASSERT_EQ(failureOf(member("a.txt", "one") + member("src/deep/b", large) + member("c", "")),
              "");
    EXPECT_EQ(namesIn(target), (Names{"a.txt", "c", "src"}));
    EXPECT_EQ(contentOf(target / "a.txt"), "one");
    EXPECT_EQ(contentOf(target / "src/deep/b"), large);
    EXPECT_EQ(contentOf(target / "c"), "");
}

TEST_F(Extraction, MoreDirectoriesThanAreRememberedAreFilled) {
    std::string bytes;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 1100; ++i) {
            const std::string number = std::to_string(i);
            bytes += member(number + "/file" + std::to_string(round), number);
        }
    }
    ASSERT_EQ(failureOf(bytes), "");
    for (int i = 0; i < 1100; ++i) {
        const fs::path directory = target / std::to_string(i);
        EXPECT_EQ(namesIn(directory), (Names{"file0", "file1"}));
        EXPECT_EQ(contentOf(directory / "file1"), std::to_string(i));
    }
}

TEST_F(Extraction, AnArchiveWithoutMembersCreatesNothing) {
    ASSERT_EQ(failureOf(""), "");
    ASSERT_EQ(failureOf("PK\x05\x06" + std::string(18, '\0')), "");
    EXPECT_EQ(namesIn(room.path()), Names{"archive.mos"});
}

TEST_F(Extraction, AMissingArchiveCannotBeOpened) {
    std::string error;
    EXPECT_FALSE(extractArchive(archive, target, &error));
    EXPECT_EQ(error, "Could not open archive: " + archive.string());
    EXPECT_FALSE(extractArchive(archive, target, nullptr));
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST_F(Extraction, ADirectoryCannotBeOpenedAsAnArchive) {
    std::string error;
    EXPECT_FALSE(extractArchive(room.path(), target, &error));
    EXPECT_EQ(error, "Could not open archive: " + room.path().string());
}

TEST_F(Extraction, AnUnsafeNameEndsItAndWhatWasWrittenStays) {
    EXPECT_EQ(failureOf(member("a", "one") + member("b/../../c", "two") + member("d", "three")),
              "Path traversal security violation in archive entry: b/../../c");
    EXPECT_EQ(namesIn(target), Names{"a"});
    EXPECT_FALSE(extractArchive(archive, target, nullptr));
}

TEST_F(Extraction, UnsafeNamesAreShownAsStored) {
    for (const std::string& name :
         {""s, "C:/x"s, "C:x"s, "\\\\server\\share\\x"s, "/x"s, "a\\..\\..\\x"s, "../\0x"s}) {
        EXPECT_EQ(failureOf(member(name, "one")),
                  "Path traversal security violation in archive entry: " + name);
    }
    EXPECT_EQ(namesIn(room.path()), Names{"archive.mos"});
}

TEST_F(Extraction, ABackslashSeparatesLikeASlash) {
    ASSERT_EQ(failureOf(member("src\\a\\b.moss", "one")), "");
    EXPECT_EQ(contentOf(target / "src" / "a" / "b.moss"), "one");
}

TEST_F(Extraction, ClimbingInsideTheTargetIsFollowed) {
    ASSERT_EQ(failureOf(member("a/b/../c", "one")), "");
    EXPECT_EQ(contentOf(target / "a" / "c"), "one");
    EXPECT_EQ(namesIn(target / "a"), (Names{"b", "c"}));
}

TEST_F(Extraction, TheSecondMemberOfANameOverwritesTheFirst) {
    ASSERT_EQ(failureOf(member("a", "a longer text") + member("a", "two")), "");
    EXPECT_EQ(contentOf(target / "a"), "two");
}

TEST_F(Extraction, ANameThatEndsWithASeparatorCannotBeWritten) {
    EXPECT_EQ(failureOf(member("a/b/", "")), "Failed to write extracted file: " + shown("a/b/"));
    EXPECT_TRUE(fs::is_directory(target / "a"));
    EXPECT_FALSE(fs::exists(target / "a" / "b"));
    EXPECT_EQ(failureOf(member("c\\", "")), "Failed to write extracted file: " + shown("c/"));
}

TEST_F(Extraction, ADirectoryCannotBeWrittenAsAFile) {
    EXPECT_EQ(failureOf(member("a/b", "one") + member("a", "two")),
              "Failed to write extracted file: " + shown("a"));
    EXPECT_EQ(failureOf(member(".", "one")), "Failed to write extracted file: " + shown("."));
    EXPECT_EQ(failureOf(member("c/..", "one")), "Failed to write extracted file: " + shown("c/.."));
    EXPECT_EQ(contentOf(target / "a" / "b"), "one");
    EXPECT_FALSE(extractArchive(archive, target, nullptr));
}

TEST_F(Extraction, ANameWithANulByteIsNeverWrittenUnderItsFirstPart) {
    EXPECT_EQ(failureOf(member("a\0b"s, "one")),
              "Failed to write extracted file: " + shown("a\0b"sv));
    EXPECT_EQ(failureOf(member("d\0e\\f"s, "one")),
              "Failed to write extracted file: " + shown("d\0e/f"sv));
    EXPECT_EQ(namesIn(room.path()), Names{"archive.mos"});
}

TEST_F(Extraction, AFileInTheWayOfADirectoryIsAnErrorOfCreateDirectories) {
    test::writeFile(archive, member("a", "one") + member("a/b", "two"));
    try {
        std::ignore = extractArchive(archive, target, nullptr);
        FAIL() << "no error";
    } catch (const fs::filesystem_error& error) {
        EXPECT_EQ(error.path1(), target / "a");
        EXPECT_EQ(std::string_view(error.what()).substr(0, 38),
                  "filesystem error: create_directories: ");
    }
    EXPECT_EQ(contentOf(target / "a"), "one");
}

TEST_F(Extraction, AMemberCutByTheEndOfTheFileIsAsShortAsTheFile) {
    LocalHeader header;
    header.nameLength = 1;
    header.uncompressedSize = 0xFFFFFFFF;
    ASSERT_EQ(failureOf(header.bytes() + "a" + "few bytes"), "");
    EXPECT_EQ(contentOf(target / "a"), "few bytes");
}

TEST_F(Extraction, AHeaderCutByTheEndOfTheFileHasNoName) {
    EXPECT_EQ(failureOf(member("a", "one") + member("b", "two").substr(0, 20)),
              "Path traversal security violation in archive entry: ");
    EXPECT_EQ(namesIn(target), Names{"a"});
}

TEST_F(Extraction, ARelativeTargetThatIsNotThereYetTakesAllMembers) {
    const fs::path before = fs::current_path();
    fs::current_path(room.path());
    test::writeFile(archive, member("a", "one") + member("b/c", "two") + member("b/d", "three"));
    std::string error;
    const bool done = extractArchive("archive.mos", "new/target", &error);
    fs::current_path(before);
    EXPECT_TRUE(done) << error;
    EXPECT_EQ(namesIn(room / "new/target"), (Names{"a", "b"}));
    EXPECT_EQ(namesIn(room / "new/target/b"), (Names{"c", "d"}));
}

TEST(SafeEntryName, TheTextOfAMembersNameDecides) {
    struct Row {
        std::string_view name;
        bool safe;
    };
    const std::vector<Row> rows{
        {"", false},           {"a", true},           {"a/b.moss", true},   {"a\\b", true},
        {"C:", false},         {"C:/x", false},       {"C:x", false},       {"1:x", false},
        {"::", false},         {":", true},           {"ab:c", true},       {"a/C:/x", true},
        {"/", false},          {"/a", false},         {"\\a", false},       {"//server/x", false},
        {"\\\\server", false}, {".", true},           {"./a", true},        {"..", false},
        {"../x", false},       {"..\\x", false},      {"./..", false},      {"a/..", true},
        {"a/../b", true},      {"a/../..", false},    {"a/../../x", false}, {"a/../../a/b", false},
        {"a\\..\\..", false},  {"a/b/../../c", true}, {"a//..", true},      {"a//../..", false},
        {"a/./../..", false},  {"a/", true},          {"a//", true},        {"...", true},
        {"..a", true},         {"a../..", true},      {".../../..", false}, {".. ", true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(isSafeEntryName(row.name), row.safe) << '"' << row.name << '"';
    }
}

TEST(SafeEntryName, AMillionSegmentsAreJudged) {
    std::string name;
    for (int i = 0; i < 1'000'000; ++i) {
        name += "a/../";
    }
    EXPECT_TRUE(isSafeEntryName(name));
    EXPECT_FALSE(isSafeEntryName(name + ".."));
}

TEST(PathWithin, TheDirectoryItselfAndWhatIsBelowAreWithin) {
    const TemporaryDirectory room;
    EXPECT_TRUE(isPathWithin(room.path(), room.path()));
    EXPECT_TRUE(isPathWithin(room.path(), room / "a"));
    EXPECT_TRUE(isPathWithin(room.path(), room / "missing/../b"));
    EXPECT_TRUE(isPathWithin(room / "missing", room / "missing/b"));
}

TEST(PathWithin, AParentAndASiblingOfALongerNameAreNotWithin) {
    const TemporaryDirectory room;
    EXPECT_FALSE(isPathWithin(room / "foo-1.0.0", room.path()));
    EXPECT_FALSE(isPathWithin(room / "foo-1.0.0", room / "foo-1.0.0-evil"));
    EXPECT_FALSE(isPathWithin(room / "foo-1.0.0", room / "foo-1.0.0-evil/x"));
    EXPECT_FALSE(isPathWithin(room / "foo-1.0.0", room / "foo-1.0.0/../x"));
    EXPECT_FALSE(isPathWithin(room / "foo", room / "FOO/x"));
}

TEST(PathWithin, APathThatCannotBeResolvedIsNotWithin) {
    const TemporaryDirectory room;
    EXPECT_FALSE(isPathWithin(room.path(), room / std::string(5000, 'n')));
    EXPECT_FALSE(isPathWithin(room / std::string(5000, 'n'), room / std::string(5000, 'n')));
}

} // namespace
} // namespace mos
