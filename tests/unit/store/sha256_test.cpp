#include "store/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string_view>
#include <vector>

#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

std::string digestOf(std::string_view message, Sha256::Implementation implementation) {
    Sha256 digest(implementation);
    digest.update(std::as_bytes(std::span(message)));
    return digest.finish();
}

std::string digestInPieces(std::string_view message, std::size_t pieceSize,
                           Sha256::Implementation implementation) {
    Sha256 digest(implementation);
    while (!message.empty()) {
        const std::string_view piece = message.substr(0, pieceSize);
        digest.update(std::as_bytes(std::span(piece)));
        message.remove_prefix(piece.size());
    }
    return digest.finish();
}

std::string patternOf(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>((i * 7 + 1) % 251);
    }
    return text;
}

struct SizeRow {
    std::size_t size;
    std::string_view digest; ///< of patternOf(size)
};

constexpr std::array sizeRows{
    SizeRow{0, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    SizeRow{1, "4bf5122f344554c53bde2ebb8cd2b7e3d1600ad631c385a5d7cce23c7785459a"},
    SizeRow{55, "0e1fd909ef91754af38bceea27478ef6ca3427023f13bf590b34b205e5e1c0fb"},
    SizeRow{56, "d914564b0890ba0507547d978021457d00970416582fcfae4746bd6f15e1dbbe"},
    SizeRow{63, "cf0c1d27f3afc26f75784d0eb19c153f67106833b6e4d38ed5a02cf3826f7fab"},
    SizeRow{64, "a70bbf04e9d6b13f21dae6ee3119e2fefb8bbad9c34a142738f09089ae07bdef"},
    SizeRow{65, "f368e8174761b102b4175797f967faffa0783bc72d5d32513b5c5dd895d0ea57"},
    SizeRow{119, "5c413bb5eb7ba9c71811382fea17a008dcbc6ea2ad9401698d552e201d148bb8"},
    SizeRow{120, "06e55c382ffed163d9d1c9daf4eaf73a17fb299140d535c48f87b1c4b65f61c1"},
    SizeRow{128, "3a864621ed20a0943dee9a213f4b02c281d7efe598ab555e88d4d32961acd32f"},
    SizeRow{4095, "3dbe0cf7440c6e5b7b5c922b4362edde021f37ca8114d116e95c2ee655421e5e"},
    SizeRow{4096, "b5d89a867a078e7c9de7919965bff4e40d08b03b37125d5f228c7da1b1c74a4d"},
    SizeRow{4097, "0523f303132f80b91f2ffa28959f203c7121c1db5c66e1d0155be36800f3cc39"},
};

class Sha256Test : public testing::TestWithParam<Sha256::Implementation> {};

INSTANTIATE_TEST_SUITE_P(Both, Sha256Test,
                         testing::Values(Sha256::Implementation::Fastest,
                                         Sha256::Implementation::Portable),
                         [](const auto& tested) {
                             return tested.param == Sha256::Implementation::Fastest ? "Fastest"
                                                                                    : "Portable";
                         });

TEST_P(Sha256Test, TheEmptyMessageHasTheStandardDigest) {
    EXPECT_EQ(digestOf("", GetParam()),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_P(Sha256Test, TheMessageOfOneBlockHasTheStandardDigest) {
    EXPECT_EQ(digestOf("abc", GetParam()),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_P(Sha256Test, TheMessageOfTwoBlocksHasTheStandardDigest) {
    EXPECT_EQ(digestOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", GetParam()),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_P(Sha256Test, AMillionTimesTheLetterAHasTheStandardDigest) {
    EXPECT_EQ(digestOf(std::string(1'000'000, 'a'), GetParam()),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_P(Sha256Test, SizesAroundBlocksAndPaddingHaveTheStandardDigests) {
    for (const SizeRow& row : sizeRows) {
        EXPECT_EQ(digestOf(patternOf(row.size), GetParam()), row.digest) << row.size;
    }
}

TEST_P(Sha256Test, PiecesOfAnySizeGiveTheDigestOfTheWhole) {
    for (const SizeRow& row : sizeRows) {
        for (const std::size_t piece : {1U, 3U, 63U, 64U, 65U, 127U, 130U, 1000U}) {
            EXPECT_EQ(digestInPieces(patternOf(row.size), piece, GetParam()), row.digest)
                << row.size << " bytes in pieces of " << piece;
        }
    }
}

TEST_P(Sha256Test, AnEmptyPieceChangesNothing) {
    Sha256 digest(GetParam());
    digest.update({});
    digest.update(std::as_bytes(std::span(std::string_view("abc"))));
    digest.update({});
    EXPECT_EQ(digest.finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, BothImplementationsAgreeOnRandomMessages) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 500; ++round) {
        std::string message(random() % 5000, '\0');
        std::ranges::generate(message, [&random] { return static_cast<char>(random()); });
        const std::size_t piece = 1 + random() % 300;
        ASSERT_EQ(digestInPieces(message, piece, Sha256::Implementation::Fastest),
                  digestOf(message, Sha256::Implementation::Portable))
            << message.size() << " bytes in pieces of " << piece;
    }
}

TEST(Sha256File, FilesOfEverySizeHaveTheStandardDigests) {
    const TemporaryDirectory room;
    for (const SizeRow& row : sizeRows) {
        test::writeFile(room / "file", patternOf(row.size));
        EXPECT_EQ(sha256File(room / "file"), row.digest) << row.size;
    }
}

TEST(Sha256File, AMissingFileHasNoDigest) {
    const TemporaryDirectory room;
    EXPECT_EQ(sha256File(room / "missing"), "");
}

TEST(Sha256File, ADirectoryHasNoDigest) {
    const TemporaryDirectory room;
    EXPECT_EQ(sha256File(room.path()), "");
}

} // namespace
} // namespace mos
