#include "archive/unpacked_comparison.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/extraction.h"
#include "archive/zip_bytes.h"
#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::member;
using test::TemporaryDirectory;
using test::writeFile;

namespace fs = std::filesystem;

class UnpackedComparison : public testing::Test {
protected:
    /// Writes the archive of these bytes and unpacks it.
    void unpack(std::string_view bytes) const {
        writeFile(archive, bytes);
        std::string error;
        EXPECT_TRUE(extractArchive(archive, target, &error)) << error;
    }

    [[nodiscard]] bool isUnpacked() const {
        ArchiveScanner scanner(archive);
        return isUnpackedAt(scanner, target);
    }

    TemporaryDirectory room;
    fs::path archive = room / "archive.mos";
    fs::path target = room / "target";
};

const std::string usual = member("moss.toml", "name") + member("src/main.moss", "one") +
                          member("src/deep/more.moss", "") + member("README.md", "text");

TEST_F(UnpackedComparison, WhatWasUnpackedIsRight) {
    unpack(usual);
    EXPECT_TRUE(isUnpacked());
}

TEST_F(UnpackedComparison, FilesOfEveryLengthAreCompared) {
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 200000U}) {
        std::string text(size, 'x');
        unpack(member("a", text) + member("b", text));
        EXPECT_TRUE(isUnpacked()) << size;
        writeFile(target / "a", text + "x");
        EXPECT_FALSE(isUnpacked()) << size;
        for (const std::size_t place : {size / 2, size - 1}) {
            if (place < size) {
                std::string changed = text;
                changed[place] = 'y';
                writeFile(target / "a", changed);
                EXPECT_FALSE(isUnpacked()) << size << ", changed at " << place;
            }
        }
        removeAll(target);
    }
}

TEST_F(UnpackedComparison, EveryChangeIsNoticed) {
    const std::vector<std::function<void(const fs::path&)>> changes{
        [](const fs::path& at) { writeFile(at / "src" / "main.moss", "onE"); },
        [](const fs::path& at) { writeFile(at / "src" / "main.moss", "on"); },
        [](const fs::path& at) { writeFile(at / "src" / "deep" / "more.moss", "x"); },
        [](const fs::path& at) { fs::remove(at / "README.md"); },
        [](const fs::path& at) { fs::remove(at / "src" / "deep" / "more.moss"); },
        [](const fs::path& at) { removeAll(at / "src"); },
        [](const fs::path& at) { removeAll(at); },
        [](const fs::path& at) { writeFile(at / "more", ""); },
        [](const fs::path& at) { writeFile(at / "src" / "deep" / "z", ""); },
        [](const fs::path& at) { fs::create_directory(at / "empty"); },
        [](const fs::path& at) { fs::create_directory(at / "src" / "deep" / "empty"); },
        [](const fs::path& at) { fs::rename(at / "moss.toml", at / "moss.tom"); },
        [](const fs::path& at) { fs::rename(at / "src", at / "source"); },
        [](const fs::path& at) {
            fs::remove(at / "README.md");
            fs::create_directory(at / "README.md");
        },
        [](const fs::path& at) {
            removeAll(at / "src");
            writeFile(at / "src", "");
        },
        [](const fs::path& at) {
            removeAll(at);
            writeFile(at, "");
        },
        [](const fs::path& at) {
            removeAll(at);
            fs::create_directory(at);
        },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        unpack(usual);
        ASSERT_TRUE(isUnpacked()) << i;
        changes[i](target);
        EXPECT_FALSE(isUnpacked()) << i;
        removeAll(target);
    }
}

TEST_F(UnpackedComparison, AnArchiveWithoutMembersMakesNothing) {
    unpack("");
    EXPECT_TRUE(isUnpacked());
    fs::create_directory(target);
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparison, OddNamesAreComparedAsTheyAreUnpacked) {
    for (const std::string& bytes :
         {member("a\\b", "1"), member("./a//b", "1"), member("a/../b", "1"),
          member("a/b/../../c", "1"), member("a/./../b", "1") + member("a/x", "2")}) {
        unpack(bytes);
        EXPECT_TRUE(isUnpacked()) << bytes;
        removeAll(target);
    }
}

TEST_F(UnpackedComparison, OfANameTwiceTheLastCounts) {
    unpack(member("a", "1") + member("b", "2") + member("a", "3"));
    EXPECT_TRUE(isUnpacked());
    writeFile(target / "a", "1");
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparison, NamesThatDifferByCaseAloneAreComparedAsTheyAreUnpacked) {
    unpack(member("A", "1") + member("a", "2") + member("Src/\u00E4", "3") +
           member("src/\u00C4", "4") + member("src/b", "5"));
    EXPECT_TRUE(isUnpacked());
    writeFile(target / "a", "1");
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparison, ATruncatedArchiveIsComparedAsItIsUnpacked) {
    const std::string whole = member("a", "1") + member("b", "0123456789");
    unpack(whole.substr(0, whole.size() - 4));
    EXPECT_TRUE(isUnpacked());
    writeFile(target / "b", "0123456789");
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparison, WhatCannotBeUnpackedIsNeverRight) {
    fs::create_directories(target / "a");
    for (const std::string& bytes : {member("", "1"), member("../a", "1"), member("a/", ""),
                                     member("a/..", ""), member("a/.", ""), member("/a", "1")}) {
        writeFile(archive, bytes);
        EXPECT_FALSE(isUnpacked()) << bytes;
    }
}

TEST_F(UnpackedComparison, AnArchiveThatIsNotThereIsNeverRight) {
    EXPECT_FALSE(isUnpacked());
}

} // namespace
} // namespace mos
