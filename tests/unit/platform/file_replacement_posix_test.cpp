#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/file_replacement.h"
#include "platform/file_system.h"
#include "platform/temporary_name.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::bytesOf;
using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;

using Names = std::vector<std::string>;

constexpr uid_t ordinaryUser = 65534;

struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status;
}

mode_t modeOf(const std::filesystem::path& path) {
    return statusOf(path).st_mode & 07777;
}

/// While it lives, the test is run by a user whom modes hold back.
class AsOrdinaryUser {
public:
    AsOrdinaryUser() {
        if (wasRoot) {
            EXPECT_EQ(::seteuid(ordinaryUser), 0);
        }
    }
    ~AsOrdinaryUser() {
        if (wasRoot) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

private:
    const bool wasRoot = ::geteuid() == 0;
};

/// While it lives, no file grows beyond `size`, as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t size) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{size, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before{};
    void (*handler)(int);
};

/// While it lives, so many files more can be opened.
class FewFiles {
public:
    explicit FewFiles(rlim_t more) {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        const rlimit limit{static_cast<rlim_t>(next) + more, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~FewFiles() { ::setrlimit(RLIMIT_NOFILE, &before); }
    FewFiles(const FewFiles&) = delete;
    FewFiles& operator=(const FewFiles&) = delete;

private:
    rlimit before{};
};

/// A directory that ordinary users may write to as well.
void shareWithEverybody(const TemporaryDirectory& room) {
    ASSERT_EQ(::chmod(room.path().c_str(), 0777), 0);
}

TEST(FileReplacementPosix, NothingIsWrittenInPlaceForWantOfATemporaryFile) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    std::error_code error;
    bool replaced = true;
    {
        const FewFiles limit(1); // the target itself
        replaced = replaceFile(room / "file", "new", FileAccess::Default, &error);
    }
    EXPECT_FALSE(replaced);
    EXPECT_EQ(error, std::errc::too_many_files_open);
    EXPECT_EQ(contentOf(room / "file"), "old");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementPosix, ANewFileHasTheModeOfNewFiles) {
    const TemporaryDirectory room;
    const mode_t before = ::umask(027);
    const bool replaced = replaceFile(room / "file", "new");
    const mode_t after = ::umask(before);
    EXPECT_TRUE(replaced);
    EXPECT_EQ(modeOf(room / "file"), 0640U);
    EXPECT_EQ(after, 027U);
}

TEST(FileReplacementPosix, AnExistingFileKeepsItsMode) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    ::chmod((room / "file").c_str(), 0751);
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(modeOf(room / "file"), 0751U);
    EXPECT_EQ(contentOf(room / "file"), "new");
}

TEST(FileReplacementPosix, AnExistingFileKeepsItsOwner) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    ASSERT_EQ(::chown((room / "file").c_str(), 1234, 2345), 0);
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(statusOf(room / "file").st_uid, 1234U);
    EXPECT_EQ(statusOf(room / "file").st_gid, 2345U);
    EXPECT_EQ(contentOf(room / "file"), "new");
}

TEST(FileReplacementPosix, AFileForTheOwnerAloneHasOneModeWhateverTheMask) {
    const TemporaryDirectory room;
    const mode_t before = ::umask(0277);
    const bool replaced = replaceFile(room / "file", "secret", FileAccess::OwnerOnly);
    ::umask(before);
    EXPECT_TRUE(replaced);
    EXPECT_EQ(modeOf(room / "file"), 0600U);
}

TEST(FileReplacementPosix, AFileForTheOwnerAloneIsReadableByNobodyElse) {
    const TemporaryDirectory room;
    EXPECT_TRUE(replaceFile(room / "new", "secret", FileAccess::OwnerOnly));
    EXPECT_EQ(modeOf(room / "new"), 0600U);
    writeFile(room / "existing", "old");
    ::chmod((room / "existing").c_str(), 0644);
    EXPECT_TRUE(replaceFile(room / "existing", "secret", FileAccess::OwnerOnly));
    EXPECT_EQ(modeOf(room / "existing"), 0600U);
}

TEST(FileReplacementPosix, ALinkIsFollowedToTheFileItNames) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "elsewhere");
    writeFile(room / "elsewhere" / "file", "old");
    std::filesystem::create_symlink("elsewhere/second", room / "first");
    std::filesystem::create_symlink(room / "elsewhere" / "file", room / "elsewhere" / "second");
    EXPECT_TRUE(replaceFile(room / "first", "new"));
    EXPECT_TRUE(std::filesystem::is_symlink(room / "first"));
    EXPECT_TRUE(std::filesystem::is_symlink(room / "elsewhere" / "second"));
    EXPECT_FALSE(std::filesystem::is_symlink(room / "elsewhere" / "file"));
    EXPECT_EQ(contentOf(room / "elsewhere" / "file"), "new");
    EXPECT_EQ(namesIn(room / "elsewhere"), (Names{"file", "second"}));
}

TEST(FileReplacementPosix, TheFileADanglingLinkNamesIsCreated) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "elsewhere");
    std::filesystem::create_symlink("elsewhere/file", room / "link");
    EXPECT_TRUE(replaceFile(room / "link", "new"));
    EXPECT_TRUE(std::filesystem::is_symlink(room / "link"));
    EXPECT_EQ(contentOf(room / "elsewhere" / "file"), "new");
}

TEST(FileReplacementPosix, ALinkThatLeadsToItselfCannotBeWritten) {
    const TemporaryDirectory room;
    std::filesystem::create_symlink("link", room / "link");
    EXPECT_FALSE(FileReplacement(room / "link").isOpen());
}

TEST(FileReplacementPosix, AFileThatMayNotBeWrittenStaysAlthoughItsDirectoryWouldAllowIt) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    ::chmod((room / "file").c_str(), 0444);
    shareWithEverybody(room);
    bool replaced = true;
    {
        const AsOrdinaryUser user;
        replaced = replaceFile(room / "file", "new");
    }
    EXPECT_FALSE(replaced);
    EXPECT_EQ(contentOf(room / "file"), "old");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementPosix, WhereTheDirectoryTakesNoNewFileTheContentIsWrittenInPlace) {
    const TemporaryDirectory room;
    writeFile(room / "file", "a long old text");
    ::chmod((room / "file").c_str(), 0666);
    ::chmod(room.path().c_str(), 0555);
    const ino_t before = statusOf(room / "file").st_ino;
    bool replaced = false;
    {
        const AsOrdinaryUser user;
        replaced = replaceFile(room / "file", "new");
    }
    ::chmod(room.path().c_str(), 0755);
    EXPECT_TRUE(replaced);
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(statusOf(room / "file").st_ino, before);
}

/// Says of a file what setfacl(1) would: the owner may read and write, the ordinary user too,
/// the group and others nothing. False where there are no such lists.
[[nodiscard]] bool shareWithOneUser(const std::filesystem::path& file, const char* list) {
    struct Entry {
        std::uint16_t tag, permissions;
        std::uint32_t id;
    };
    constexpr std::uint32_t nobody = 0xFFFFFFFF;
    const std::array<Entry, 5> entries{Entry{1, 6, nobody}, Entry{2, 6, ordinaryUser},
                                       Entry{4, 0, nobody}, Entry{16, 6, nobody},
                                       Entry{32, 0, nobody}};
    std::string value("\2\0\0\0", 4);
    for (const Entry& entry : entries) {
        value.append(reinterpret_cast<const char*>(&entry), sizeof entry);
    }
    return ::setxattr(file.c_str(), list, value.data(), value.size(), 0) == 0;
}

std::string accessListOf(const std::filesystem::path& file) {
    std::string list(1000, '\0');
    const ssize_t size =
        ::getxattr(file.c_str(), "system.posix_acl_access", list.data(), list.size());
    return list.substr(0, size > 0 ? static_cast<std::size_t>(size) : 0);
}

TEST(FileReplacementPosix, WhatDoesNotFitIsNotBegunInPlace) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    ::chmod((room / "file").c_str(), 0666);
    ::chmod(room.path().c_str(), 0555);
    bool replaced = true;
    {
        const AsOrdinaryUser user;
        const FullDisk disk(4096);
        replaced = replaceFile(room / "file", std::string(100000, 'x'));
        FileReplacement given(room / "file");
        EXPECT_TRUE(given.write(bytesOf("half")));
    }
    ::chmod(room.path().c_str(), 0755);
    EXPECT_FALSE(replaced);
    EXPECT_EQ(contentOf(room / "file"), "old");
}

/// A directory of everybody with a file of root that everybody may write.
class SharedFile : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can make a file of somebody else";
        }
        writeFile(file, "a long old text");
        ::chmod(file.c_str(), 0666);
        shareWithEverybody(room);
    }

    TemporaryDirectory room;
    std::filesystem::path file = room / "file";
};

TEST_F(SharedFile, IsReplacedByOneOfTheUser) {
    bool replaced = false;
    uid_t uid = 0;
    {
        const AsOrdinaryUser user;
        uid = ::geteuid();
        replaced = replaceFile(file, "new");
    }
    EXPECT_TRUE(replaced);
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_EQ(statusOf(file).st_uid, uid);
    EXPECT_EQ(modeOf(file), 0666U);
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST_F(SharedFile, KeepsWhatItHoldsOnAFullDisk) {
    bool replaced = true;
    {
        const AsOrdinaryUser user;
        const FullDisk disk(4096);
        replaced = replaceFile(file, std::string(100000, 'x'));
    }
    EXPECT_FALSE(replaced);
    EXPECT_EQ(contentOf(file), "a long old text");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST_F(SharedFile, GivesNobodyMoreWhereItsGroupCannotBeKept) {
    for (const auto& [before, after] : {std::pair(0676U, 0666U), {0606U, 0600U}, {0646U, 0644U}}) {
        EXPECT_EQ(::chown(file.c_str(), 0, 12345), 0);
        ::chmod(file.c_str(), before);
        {
            const AsOrdinaryUser user;
            EXPECT_TRUE(replaceFile(file, "new"));
        }
        EXPECT_EQ(modeOf(file), after);
    }
}

/// Has an ordinary user replace the file; whether another file with the same list is there now.
bool becomesAnotherWithItsList(const std::filesystem::path& file) {
    const std::string list = accessListOf(file);
    const ino_t before = statusOf(file).st_ino;
    {
        const AsOrdinaryUser user;
        EXPECT_TRUE(replaceFile(file, "new"));
    }
    EXPECT_EQ(accessListOf(file), list);
    return statusOf(file).st_ino != before;
}

TEST_F(SharedFile, KeepsItsAccessControlListWhoeverItBelongsTo) {
    if (!shareWithOneUser(file, "system.posix_acl_access")) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    EXPECT_TRUE(becomesAnotherWithItsList(file));
    EXPECT_EQ(modeOf(file), 0660U);
}

TEST_F(SharedFile, IsWrittenInPlaceWhereItsAccessControlListCannotBeKept) {
    ASSERT_EQ(::chown(file.c_str(), 0, 12345), 0);
    if (!shareWithOneUser(file, "system.posix_acl_access")) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    EXPECT_FALSE(becomesAnotherWithItsList(file));
    EXPECT_EQ(contentOf(file), "new");
}

TEST_F(SharedFile, NeverHoldsASecret) {
    {
        const AsOrdinaryUser user;
        EXPECT_TRUE(replaceFile(file, "secret", FileAccess::OwnerOnly));
        EXPECT_EQ(statusOf(file).st_uid, ::geteuid());
    }
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST_F(SharedFile, ThatSomebodyPutsThereMeanwhileNeverHoldsASecret) {
    ASSERT_EQ(::unlink(file.c_str()), 0);
    ::chmod(room.path().c_str(), 01777);
    const auto as = [](uid_t user) { EXPECT_EQ(::seteuid(user), 0); };
    as(ordinaryUser);
    {
        FileReplacement replacement(file, FileAccess::OwnerOnly);
        EXPECT_TRUE(replacement.write(bytesOf("secret")));
        as(0);
        writeFile(file, "");
        ::chmod(file.c_str(), 0666);
        as(ordinaryUser);
        EXPECT_FALSE(replacement.commit());
        EXPECT_EQ(replacement.error(), std::errc::permission_denied);
    }
    as(0);
    EXPECT_EQ(contentOf(file), "");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST_F(SharedFile, ThatBecomesALinkMeanwhileIsNotFollowed) {
    const TemporaryDirectory home;
    writeFile(home / "own", "own");
    ASSERT_EQ(::chown((home / "own").c_str(), ordinaryUser, ordinaryUser), 0);
    ::chmod(home.path().c_str(), 0755);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    ::chmod(room.path().c_str(), 01777);
    EXPECT_EQ(::seteuid(ordinaryUser), 0);
    {
        FileReplacement replacement(file);
        EXPECT_TRUE(replacement.write(bytesOf("new")));
        EXPECT_EQ(::seteuid(0), 0);
        std::filesystem::create_symlink(home / "own", file);
        EXPECT_EQ(::seteuid(ordinaryUser), 0);
        EXPECT_FALSE(replacement.commit());
    }
    EXPECT_EQ(::seteuid(0), 0);
    EXPECT_EQ(contentOf(home / "own"), "own");
}

TEST(FileReplacementPosix, AnAccessControlListIsKept) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    if (!shareWithOneUser(room / "file", "system.posix_acl_access")) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    const std::string before = accessListOf(room / "file");
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(modeOf(room / "file"), 0660U);
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(accessListOf(room / "file"), before);
    EXPECT_EQ(modeOf(room / "file"), 0660U);
    EXPECT_TRUE(replaceFile(room / "file", "new", FileAccess::OwnerOnly));
    EXPECT_EQ(accessListOf(room / "file"), "");
    EXPECT_EQ(modeOf(room / "file"), 0600U);
}

TEST(FileReplacementPosix, TheListOfADirectoryIsThatOfNewFilesAlone) {
    const TemporaryDirectory room;
    writeFile(room / "old", "old");
    ::chmod((room / "old").c_str(), 0640);
    if (!shareWithOneUser(room.path(), "system.posix_acl_default")) {
        GTEST_SKIP() << "the file system has no access control lists";
    }
    writeFile(room / "plain", "new");
    EXPECT_TRUE(replaceFile(room / "old", "new"));
    EXPECT_EQ(accessListOf(room / "old"), "");
    EXPECT_EQ(modeOf(room / "old"), 0640U);
    EXPECT_TRUE(replaceFile(room / "new", "new"));
    EXPECT_NE(accessListOf(room / "plain"), "");
    EXPECT_EQ(accessListOf(room / "new"), accessListOf(room / "plain"));
    EXPECT_EQ(modeOf(room / "new"), 0660U);
    EXPECT_TRUE(replaceFile(room / "secret", "new", FileAccess::OwnerOnly));
    EXPECT_EQ(modeOf(room / "secret"), 0600U);
}

TEST_F(SharedFile, CanBeReadAndWrittenByWhomItBelongsToNow) {
    ASSERT_EQ(::chown(file.c_str(), 1234, 2345), 0);
    ::chmod(file.c_str(), 0446);
    const AsOrdinaryUser user;
    EXPECT_TRUE(replaceFile(file, "new"));
    EXPECT_TRUE(replaceFile(file, "newer"));
    EXPECT_EQ(contentOf(file), "newer");
    EXPECT_EQ(modeOf(file), 0644U);
}

TEST_F(SharedFile, NeverHoldsASecretWhereItCannotBeReplaced) {
    for (const mode_t mode : {0755U, 01777U}) { // no new file, or no removal of another's
        ::chmod(room.path().c_str(), mode);
        {
            const AsOrdinaryUser user;
            std::error_code error;
            EXPECT_FALSE(replaceFile(file, "secret", FileAccess::OwnerOnly, &error));
            EXPECT_TRUE(error);
        }
        EXPECT_EQ(contentOf(file), "a long old text");
        EXPECT_EQ(namesIn(room.path()), Names{"file"});
    }
}

/// A new directory below `directory` in which a file of one letter is the most that a path reaches.
std::filesystem::path deepestDirectory(std::filesystem::path directory) {
    constexpr std::size_t room = PATH_MAX - std::string_view("/f").size() - 1;
    while (directory.native().size() < room) {
        const std::size_t left = room - directory.native().size() - 1;
        directory /= std::string(left <= 250 ? left : 200, 'd');
    }
    createDirectories(directory);
    return directory;
}

TEST(FileReplacementPosix, APathTooLongForATemporaryFileIsWrittenInPlace) {
    const TemporaryDirectory room;
    const std::filesystem::path file = deepestDirectory(room.path()) / "f";
    EXPECT_TRUE(replaceFile(file, "old"));
    EXPECT_TRUE(replaceFile(file, "new"));
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_EQ(namesIn(file.parent_path()), Names{"f"});
}

TEST(FileReplacementPosix, ANewFileForTheOwnerAloneIsThatInPlaceToo) {
    const TemporaryDirectory room;
    const std::filesystem::path file = deepestDirectory(room.path()) / "f";
    EXPECT_TRUE(replaceFile(file, "secret", FileAccess::OwnerOnly));
    EXPECT_EQ(modeOf(file), 0600U);
    ::chmod(file.c_str(), 0644);
    EXPECT_TRUE(replaceFile(file, "secret", FileAccess::OwnerOnly));
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST(FileReplacementPosix, TheLongestNameIsReplacedInOneStepToo) {
    const TemporaryDirectory room;
    const std::string name(NAME_MAX, 'n');
    writeFile(room / name, "old");
    FileReplacement replacement(room / name);
    EXPECT_TRUE(replacement.write(bytesOf("new")));
    EXPECT_EQ(contentOf(room / name), "old");
    EXPECT_TRUE(replacement.commit());
    EXPECT_EQ(contentOf(room / name), "new");
    EXPECT_EQ(namesIn(room.path()), Names{name});
}

TEST(FileReplacementPosix, AFullDiskLeavesTheOldFileAndNothingElse) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    const std::string large(100000, 'x');
    bool replaced = true;
    {
        const FullDisk disk(4096);
        replaced = replaceFile(room / "file", large);
    }
    EXPECT_FALSE(replaced);
    EXPECT_EQ(contentOf(room / "file"), "old");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementPosix, AfterAFailedWriteNothingIsCommitted) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    const std::string large(100000, 'x');
    FileReplacement replacement(room / "file");
    {
        const FullDisk disk(4096);
        EXPECT_FALSE(replacement.write(bytesOf(large)));
    }
    EXPECT_FALSE(replacement.write(bytesOf("more")));
    EXPECT_FALSE(replacement.commit());
    EXPECT_EQ(contentOf(room / "file"), "old");
}

TEST(FileReplacementPosix, ADeviceIsWrittenInPlace) {
    EXPECT_TRUE(replaceFile("/dev/null", "text"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_FALSE(replaceFile("/dev/full", "text"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(FileReplacementPosix, ADeviceOfAnotherUserHoldsNoSecret) {
    const mode_t before = modeOf("/dev/null");
    const uid_t owner = statusOf("/dev/null").st_uid;
    EXPECT_EQ(replaceFile("/dev/null", "secret", FileAccess::OwnerOnly), ::geteuid() == owner);
    {
        const AsOrdinaryUser user;
        EXPECT_EQ(replaceFile("/dev/null", "secret", FileAccess::OwnerOnly), ::geteuid() == owner);
    }
    EXPECT_EQ(modeOf("/dev/null"), before);
}

TEST(FileReplacementPosix, APipeIsWrittenInPlace) {
    const TemporaryDirectory room;
    ASSERT_EQ(::mkfifo((room / "pipe").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contentOf(room / "pipe"); });
    const bool replaced = replaceFile(room / "pipe", "text");
    reader.join();
    EXPECT_TRUE(replaced);
    EXPECT_EQ(received, "text");
    EXPECT_TRUE(std::filesystem::is_fifo(room / "pipe"));
}

TEST(FileReplacementPosix, AnOpenFileNamedThroughItsDescriptorIsWritten) {
    const TemporaryDirectory room;
    writeFile(room / "file", "a long old text");
    const int descriptor = ::open((room / "file").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(::unlink((room / "file").c_str()), 0);
    EXPECT_TRUE(replaceFile("/proc/self/fd/" + std::to_string(descriptor), "new"));
    std::string content(100, '\0');
    const ssize_t length = ::pread(descriptor, content.data(), content.size(), 0);
    ::close(descriptor);
    ASSERT_EQ(length, 3);
    EXPECT_EQ(content.substr(0, 3), "new");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileReplacementPosix, AnOpenFileWhoseNameNobodyCanLookUpIsWritten) {
    const TemporaryDirectory room;
    const std::filesystem::path file = room / std::string(250, 'n'); // " (deleted)" is too much
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    EXPECT_TRUE(replaceFile("/proc/self/fd/" + std::to_string(descriptor), "new"));
    struct stat status {};
    EXPECT_EQ(::fstat(descriptor, &status), 0);
    EXPECT_EQ(status.st_size, 3);
    ::close(descriptor);
}

TEST(FileReplacementPosix, ALeftoverOfAKilledRunIsRemoved) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    const pid_t child = ::fork();
    if (child == 0) {
        FileReplacement replacement(room / "file");
        static_cast<void>(replacement.write(bytesOf("half of a much longer text")));
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    ASSERT_EQ(namesIn(room.path()).size(), 2U);
    EXPECT_TRUE(isTemporaryName(namesIn(room.path()).front()));
    EXPECT_TRUE(replaceFile(room / "other", "new"));
    EXPECT_EQ(namesIn(room.path()), (Names{"file", "other"}));
    EXPECT_EQ(contentOf(room / "file"), "old");
}

TEST_F(SharedFile, ThatNobodyMayReadLeavesNothingThatStays) {
    const TemporaryDirectory home;
    ASSERT_EQ(::chown(home.path().c_str(), ordinaryUser, ordinaryUser), 0);
    const AsOrdinaryUser user;
    writeFile(home / "file", "old");
    ::chmod((home / "file").c_str(), 0222);
    const pid_t child = ::fork();
    if (child == 0) {
        const FileReplacement replacement(home / "file");
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_EQ(namesIn(home.path()).size(), 2U);
    EXPECT_TRUE(replaceFile(home / "file", "new"));
    EXPECT_EQ(namesIn(home.path()), Names{"file"});
}

TEST(FileReplacementPosix, AKillAtAnyMomentLeavesTheOldOrTheNewFile) {
    const TemporaryDirectory room;
    const std::string first(200000, 'a');
    const std::string second(100000, 'b');
    ASSERT_TRUE(replaceFile(room / "file", first));
    for (int round = 0; round < 20; ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            for (;;) {
                static_cast<void>(replaceFile(room / "file", second));
                static_cast<void>(replaceFile(room / "file", first));
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500 * round));
        ::kill(child, SIGKILL);
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);
        const std::string content = contentOf(room / "file");
        ASSERT_TRUE(content == first || content == second)
            << "round " << round << ": " << content.size() << " bytes";
    }
    EXPECT_TRUE(replaceFile(room / "file", "last"));
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementPosix, WritersAtOnceAllSucceedAndTheFileIsWhole) {
    const TemporaryDirectory room;
    std::vector<std::jthread> writers;
    std::vector<char> results(4, 0);
    for (std::size_t i = 0; i < results.size(); ++i) {
        writers.emplace_back([&, i] {
            bool all = true;
            for (int round = 0; round < 10; ++round) {
                all = replaceFile(room / "file", std::string(5000, static_cast<char>('a' + i))) &&
                      all;
            }
            results[i] = all ? 1 : 0;
        });
    }
    for (std::jthread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(results, std::vector<char>(4, 1));
    const std::string content = contentOf(room / "file");
    EXPECT_EQ(content, std::string(5000, content.at(0)));
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementPosix, OfWhatIsNamedLikeALeftoverOnlyTheNameGoes) {
    const TemporaryDirectory room;
    writeFile(room / "other", "untouched");
    std::filesystem::create_symlink("other", room / ".mos-new-1-0");
    std::filesystem::create_hard_link(room / "other", room / ".mos-new-1-1");
    std::filesystem::create_directory(room / ".mos-new-1-2");
    ASSERT_EQ(::mkfifo((room / ".mos-new-1-3").c_str(), 0600), 0);
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(contentOf(room / "other"), "untouched");
    EXPECT_EQ(namesIn(room.path()),
              (Names{".mos-new-1-0", ".mos-new-1-2", ".mos-new-1-3", "file", "other"}));
}

/// Runs `step` in a process whose space of users holds root alone; false when there can be none.
bool inUserNamespace(const std::function<void()>& step) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWUSER) != 0) {
            ::_exit(1);
        }
        bool isMapped = true;
        for (const auto& [file, text] :
             {std::pair("setgroups", "deny"), {"uid_map", "0 0 1"}, {"gid_map", "0 0 1"}}) {
            std::ofstream stream(std::filesystem::path("/proc/self") / file);
            isMapped = (stream << text << std::flush) && isMapped;
        }
        if (!isMapped) {
            ::_exit(1);
        }
        step();
        ::_exit(0);
    }
    int result = 0;
    return ::waitpid(child, &result, 0) == child && result == 0;
}

TEST_F(SharedFile, OfAUserWhomTheSystemDoesNotKnowHereIsReplacedToo) {
    ASSERT_EQ(::chown(file.c_str(), 1234, 2345), 0);
    const ino_t before = statusOf(file).st_ino;
    if (!inUserNamespace(
            [this] { static_cast<void>(replaceFile(file, "secret", FileAccess::OwnerOnly)); })) {
        GTEST_SKIP() << "no space of users can be made here";
    }
    EXPECT_EQ(contentOf(file), "secret");
    EXPECT_NE(statusOf(file).st_ino, before);
    EXPECT_EQ(statusOf(file).st_uid, 0U);
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST_F(SharedFile, OfAUserWhomTheSystemDoesNotKnowHereHoldsNoSecret) {
    ASSERT_EQ(::chown(file.c_str(), 1234, 2345), 0);
    ASSERT_EQ(::chown(room.path().c_str(), 1234, 2345), 0);
    ::chmod(room.path().c_str(), 0755);
    if (!inUserNamespace(
            [this] { static_cast<void>(replaceFile(file, "secret", FileAccess::OwnerOnly)); })) {
        GTEST_SKIP() << "no space of users can be made here";
    }
    EXPECT_EQ(contentOf(file), "a long old text");
    EXPECT_EQ(modeOf(file), 0666U);
}

} // namespace
} // namespace mos
