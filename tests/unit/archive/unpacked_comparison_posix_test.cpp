#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "archive/extraction.h"
#include "archive/unpacked_comparison.h"
#include "archive/zip_bytes.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::member;
using test::TemporaryDirectory;
using test::writeFile;

namespace fs = std::filesystem;

class UnpackedComparisonPosix : public testing::Test {
protected:
    void SetUp() override {
        writeFile(archive, member("src/main.moss", "one"));
        ASSERT_TRUE(extractArchive(archive, target, nullptr));
        ASSERT_TRUE(isUnpacked());
    }

    [[nodiscard]] bool isUnpacked() const {
        ArchiveScanner scanner(archive);
        return isUnpackedAt(scanner, target);
    }

    TemporaryDirectory room;
    fs::path archive = room / "archive.mos";
    fs::path target = room / "target";
};

TEST_F(UnpackedComparisonPosix, LinksToWhatIsRightAreNotRight) {
    for (const fs::path& place : {target, target / "src", target / "src" / "main.moss"}) {
        fs::rename(place, room / "moved");
        fs::create_symlink(room / "moved", place);
        EXPECT_FALSE(isUnpacked()) << place;
        fs::remove(place);
        fs::rename(room / "moved", place);
        EXPECT_TRUE(isUnpacked()) << place;
    }
}

TEST_F(UnpackedComparisonPosix, ALinkTooManyIsNotRight) {
    fs::create_symlink("nowhere", target / "link");
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparisonPosix, APipeIsNotRead) {
    fs::remove(target / "src" / "main.moss");
    ASSERT_EQ(::mkfifo((target / "src" / "main.moss").c_str(), 0600), 0);
    EXPECT_FALSE(isUnpacked());
}

TEST_F(UnpackedComparisonPosix, NamesAreComparedByteByByte) {
    fs::rename(target / "src" / "main.moss", target / "src" / "Main.moss");
    EXPECT_FALSE(isUnpacked());
    writeFile(archive, member("\xff\xfe", "1"));
    fs::remove_all(target);
    ASSERT_TRUE(extractArchive(archive, target, nullptr));
    EXPECT_TRUE(isUnpacked());
    fs::rename(target / "\xff\xfe", target / "\xff\xfd");
    EXPECT_FALSE(isUnpacked());
}

} // namespace
} // namespace mos
