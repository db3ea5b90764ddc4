#include "store/checksum.h"

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <string_view>

#include "cli/mos_exception.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

const std::string digestOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string upperDigestOfAbc =
    "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";
const std::string digestOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

std::string mismatch(const std::string& expected, const std::string& actual) {
    return "Checksum verification failed for package 'demo 1.2.3-rc.1'.\nExpected: " + expected +
           "\nActual:   " + actual;
}

template<typename File>
std::optional<MosException> failureOf(const File& file, const std::string& expected) {
    try {
        verifyChecksum("demo", *Version::parse("1.2.3-rc.1"), file, expected);
        return std::nullopt;
    } catch (const MosException& exception) {
        return exception;
    }
}

void expectMismatch(const std::optional<MosException>& failure, const std::string& message) {
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->message, message);
    EXPECT_EQ(failure->code, ErrorCode::ChecksumMismatch);
    EXPECT_EQ(failure->help, "The downloaded package may be corrupted or compromised.");
    EXPECT_EQ(failure->exitCode, 7);
}

class Checksum : public testing::Test {
protected:
    void SetUp() override { test::writeFile(file, "abc"); }

    TemporaryDirectory room;
    std::filesystem::path file = room / "file";
};

TEST_F(Checksum, ThePrefixedDigestIsAccepted) {
    EXPECT_FALSE(failureOf(file, "sha256:" + digestOfAbc).has_value());
}

TEST_F(Checksum, TheBareDigestIsAccepted) {
    EXPECT_FALSE(failureOf(file, digestOfAbc).has_value());
}

TEST_F(Checksum, NoExpectationAcceptsAnyFile) {
    EXPECT_FALSE(failureOf(file, "").has_value());
    EXPECT_FALSE(failureOf(room / "missing", "").has_value());
}

TEST_F(Checksum, AnUpperCaseDigestIsAMismatch) {
    expectMismatch(failureOf(file, "sha256:" + upperDigestOfAbc),
                   mismatch("sha256:" + upperDigestOfAbc, "sha256:" + digestOfAbc));
}

TEST_F(Checksum, TheMessageShowsTheExpectationAsItWasGiven) {
    expectMismatch(failureOf(file, upperDigestOfAbc),
                   mismatch(upperDigestOfAbc, "sha256:" + digestOfAbc));
}

TEST_F(Checksum, AnotherAlgorithmIsAMismatch) {
    expectMismatch(failureOf(file, "sha512:" + digestOfAbc),
                   mismatch("sha512:" + digestOfAbc, "sha256:" + digestOfAbc));
}

TEST_F(Checksum, AFileThatCannotBeReadIsAMismatchWithoutADigest) {
    expectMismatch(failureOf(room / "missing", digestOfAbc), mismatch(digestOfAbc, "sha256:"));
}

TEST_F(Checksum, TheBarePrefixIsTheChecksumOfAFileThatCannotBeRead) {
    EXPECT_FALSE(failureOf(room / "missing", "sha256:").has_value());
}

TEST_F(Checksum, AnEmptyFileHasTheDigestOfTheEmptyMessage) {
    test::writeFile(room / "empty", "");
    EXPECT_FALSE(failureOf(room / "empty", "sha256:" + digestOfNothing).has_value());
}

TEST_F(Checksum, AnOpenDownloadIsVerifiedThroughItsHandle) {
    DownloadFile download(room / "download");
    ASSERT_EQ(download.open(), DownloadFile::OpenResult::Opened);
    ASSERT_TRUE(download.write(std::as_bytes(std::span(std::string_view("abc")))));
    EXPECT_FALSE(failureOf(download, "sha256:" + digestOfAbc).has_value());
    EXPECT_FALSE(failureOf(download, digestOfAbc).has_value());
    EXPECT_FALSE(failureOf(download, "").has_value());
    expectMismatch(failureOf(download, upperDigestOfAbc),
                   mismatch(upperDigestOfAbc, "sha256:" + digestOfAbc));
}

TEST_F(Checksum, AnOpenDownloadLargerThanTheBufferIsReadToItsEnd) {
    DownloadFile download(room / "download");
    ASSERT_EQ(download.open(), DownloadFile::OpenResult::Opened);
    const std::string content(1'000'000, 'a');
    ASSERT_TRUE(download.write(std::as_bytes(std::span(content))));
    EXPECT_FALSE(
        failureOf(download, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0")
            .has_value());
}

TEST(OpenFileChecksum, IsThatOfAllBytes) {
    const TemporaryDirectory room;
    test::writeFile(room / "file", "abc");
    InputFile file(room / "file");
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(hasChecksum(file, digestOfAbc));
        EXPECT_TRUE(hasChecksum(file, "sha256:" + digestOfAbc));
        EXPECT_TRUE(hasChecksum(file, ""));
        EXPECT_FALSE(hasChecksum(file, upperDigestOfAbc));
        EXPECT_FALSE(hasChecksum(file, digestOfNothing));
    }
}

TEST(OpenFileChecksum, IsNeverRightWithoutAFile) {
    const TemporaryDirectory room;
    InputFile file(room / "missing");
    EXPECT_FALSE(hasChecksum(file, digestOfNothing));
    EXPECT_FALSE(hasChecksum(file, "sha256:" + digestOfNothing));
    EXPECT_TRUE(hasChecksum(file, ""));
}

} // namespace
} // namespace mos
