#include "platform/staging_directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;

TEST(StagingDirectory, StandsInItsParentUnderANameThatNoPackageCanHave) {
    const TemporaryDirectory room;
    const StagingDirectory staging(room.path());
    EXPECT_EQ(staging.path().parent_path(), room.path());
    EXPECT_TRUE(std::filesystem::is_directory(staging.path()));
    EXPECT_NE(staging.path().filename().string().find('\x7f'), std::string::npos);
}

TEST(StagingDirectory, HasAPlaceOfItsOwn) {
    const TemporaryDirectory room;
    const StagingDirectory first(room.path());
    const StagingDirectory second(room.path());
    EXPECT_NE(first.path(), second.path());
    EXPECT_EQ(namesIn(room.path()).size(), 2U);
}

TEST(StagingDirectory, GoesWithWhatIsInIt) {
    const TemporaryDirectory room;
    {
        const StagingDirectory staging(room.path());
        std::filesystem::create_directories(staging.path() / "json" / "src");
        writeFile(staging.path() / "json" / "src" / "main.moss", "text");
    }
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectory, HasNoPathWhereItCannotBeMade) {
    const TemporaryDirectory room;
    StagingDirectory staging(room / "missing");
    EXPECT_EQ(staging.path(), std::filesystem::path());
    EXPECT_EQ(staging.moveOut("json", room / "json"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectory, MovesWhatIsWholeToItsPlace) {
    const TemporaryDirectory room;
    {
        StagingDirectory staging(room.path());
        std::filesystem::create_directory(staging.path() / "json");
        writeFile(staging.path() / "json" / "main.moss", "text");
        EXPECT_EQ(staging.moveOut("json", room / "json"), std::error_code());
    }
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{"json"});
    EXPECT_EQ(contentOf(room / "json" / "main.moss"), "text");
}

TEST(StagingDirectory, ReplacesNothingThatIsThere) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    std::filesystem::create_directory(staging.path() / "json");
    writeFile(staging.path() / "json" / "main.moss", "new");
    std::filesystem::create_directory(room / "empty");
    std::filesystem::create_directory(room / "full");
    writeFile(room / "full" / "main.moss", "old");
    writeFile(room / "file", "old");
    EXPECT_EQ(staging.moveOut("json", room / "empty"), std::errc::file_exists);
    EXPECT_EQ(staging.moveOut("json", room / "full"), std::errc::file_exists);
    EXPECT_EQ(staging.moveOut("json", room / "file"), std::errc::file_exists);
    EXPECT_EQ(contentOf(room / "full" / "main.moss"), "old");
    EXPECT_EQ(contentOf(room / "file"), "old");
    EXPECT_EQ(namesIn(room / "empty"), std::vector<std::string>{});
    EXPECT_EQ(contentOf(staging.path() / "json" / "main.moss"), "new");
}

TEST(StagingDirectory, WhatIsNotThereIsNotMoved) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    EXPECT_EQ(staging.moveOut("json", room / "json"), std::errc::no_such_file_or_directory);
    EXPECT_FALSE(std::filesystem::exists(room / "json"));
}

TEST(StagingDirectory, OneThatIsInUseIsNotRemovedAsAbandoned) {
    const TemporaryDirectory room;
    const StagingDirectory staging(room.path());
    writeFile(staging.path() / "file", "text");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(contentOf(staging.path() / "file"), "text");
}

TEST(StagingDirectory, TakingAsidePassesOverNamesThatAreTaken) {
    const TemporaryDirectory room;
    const auto takeNextNames = [&room] {
        const std::string last = StagingDirectory(room.path()).path().filename().string();
        const std::size_t dash = last.rfind('-');
        const int number = std::stoi(last.substr(dash + 1));
        for (int next = number + 1; next <= number + 3; ++next) {
            const std::string name = last.substr(0, dash + 1) + std::to_string(next) + "\x7f";
            std::filesystem::create_directory(room / name);
            writeFile(room / name / "file", "kept");
        }
    };
    std::filesystem::create_directory(room / "json");
    takeNextNames();
    EXPECT_EQ(StagingDirectory::removeWhole(room / "json"), std::error_code());
    EXPECT_EQ(namesIn(room.path()).size(), 3U);
    std::filesystem::create_directory(room / "json");
    takeNextNames();
    StagingDirectory::discard(room / "json");
    EXPECT_EQ(namesIn(room.path()).size(), 6U);
}

TEST(StagingDirectory, AMissingParentHasNothingThatIsAbandoned) {
    const TemporaryDirectory room;
    StagingDirectory::removeAbandoned(room / "missing");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectory, TellsWhyItCannotBeMade) {
    const TemporaryDirectory room;
    EXPECT_EQ(StagingDirectory(room.path()).error(), std::error_code());
    EXPECT_EQ(StagingDirectory(room / "missing").error(), std::errc::no_such_file_or_directory);
}

TEST(StagingDirectory, PutsADirectoryInThePlaceOfWhateverIsThere) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    const auto putInPlace = [&staging, &room](const char* text) {
        std::filesystem::create_directory(staging.path() / "new");
        writeFile(staging.path() / "new" / "main.moss", text);
        EXPECT_EQ(staging.putInPlace("new", room / "json"), std::error_code());
        staging.removeContents();
        EXPECT_EQ(namesIn(staging.path()), std::vector<std::string>{});
        EXPECT_EQ(namesIn(room / "json"), std::vector<std::string>{"main.moss"});
        EXPECT_EQ(contentOf(room / "json" / "main.moss"), text);
    };
    putInPlace("where nothing was");
    writeFile(room / "json" / "more.moss", "old");
    putInPlace("where a directory was");
    removeAll(room / "json");
    writeFile(room / "json", "old");
    putInPlace("where a file was");
}

TEST(StagingDirectory, TellsWhyNothingCanBePutInPlace) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    writeFile(room / "json", "old");
    EXPECT_EQ(staging.putInPlace("missing", room / "json"), std::errc::no_such_file_or_directory);
    std::filesystem::create_directory(staging.path() / "new");
    EXPECT_EQ(staging.putInPlace("new", room / "missing" / "json"),
              std::errc::no_such_file_or_directory);
}

TEST(StagingDirectory, TakesInWhateverIsThere) {
    const TemporaryDirectory room;
    {
        StagingDirectory staging(room.path());
        std::filesystem::create_directory(room / "json");
        writeFile(room / "json" / "main.moss", "old");
        EXPECT_EQ(staging.takeIn(room / "json"), std::error_code());
        writeFile(room / "json", "old");
        EXPECT_EQ(staging.takeIn(room / "json"), std::error_code());
        EXPECT_EQ(staging.takeIn(room / "missing"), std::error_code());
        EXPECT_EQ(namesIn(room.path()), std::vector{staging.path().filename().string()});
        const auto taken = treeBelow(staging.path());
        ASSERT_TRUE(taken);
        EXPECT_EQ(std::ranges::count(*taken, EntryKind::File, &TreeEntry::kind), 2);
    }
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectory, DiscardsWhateverIsThere) {
    const TemporaryDirectory room;
    std::filesystem::create_directories(room / "json" / "src");
    writeFile(room / "json" / "src" / "main.moss", "half");
    writeFile(room / "text", "half");
    StagingDirectory::discard(room / "json");
    StagingDirectory::discard(room / "text");
    StagingDirectory::discard(room / "missing");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectory, KnowsTheNamesOfItsKind) {
    const TemporaryDirectory room;
    const StagingDirectory staging(room.path());
    EXPECT_TRUE(StagingDirectory::isName(staging.path().filename()));
    for (const char* name : {"json", ".staging-1-0", "staging-1-0\x7f", ""}) {
        EXPECT_FALSE(StagingDirectory::isName(name)) << name;
    }
}

} // namespace
} // namespace mos
