#include "store/background_digest.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace mos {
namespace {

std::vector<std::byte> someBytes(std::size_t size) {
    std::mt19937 random(7);
    std::vector<std::byte> bytes(size);
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    return bytes;
}

std::string plainDigest(std::span<const std::byte> bytes) {
    Sha256 digest;
    digest.update(bytes);
    return digest.finish();
}

TEST(BackgroundDigest, NoDataHaveTheirDigest) {
    EXPECT_EQ(BackgroundDigest().finish(),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(BackgroundDigest, MessagesOfEveryLengthInPiecesOfEveryLengthHaveTheirDigest) {
    const std::vector<std::byte> bytes = someBytes(3'000'000);
    for (const std::size_t size : {1U, 63U, 65'536U, 262'143U, 262'144U, 262'145U, 3'000'000U}) {
        const auto message = std::span(bytes).first(size);
        for (const std::size_t piece : {1000U, 65'536U, 300'000U, 3'000'000U}) {
            BackgroundDigest digest;
            for (std::size_t offset = 0; offset < size; offset += piece) {
                digest.update(message.subspan(offset, std::min(piece, size - offset)));
            }
            ASSERT_EQ(digest.finish(), plainDigest(message)) << size << " in pieces of " << piece;
        }
    }
}

TEST(BackgroundDigest, WorkIsDoneInItsOrderWithTheMessage) {
    const std::vector<std::byte> bytes = someBytes(900'000);
    for (const std::size_t size : {std::size_t{1}, std::size_t{300'000}}) {
        std::vector<int> done;
        BackgroundDigest digest;
        for (int i = 0; i < 3; ++i) {
            const auto piece = std::span(bytes).subspan(static_cast<std::size_t>(i) * size, size);
            digest.run(
                [&done, i, piece](Sha256& message) {
                    done.push_back(i);
                    message.update(piece);
                },
                size);
        }
        EXPECT_EQ(digest.finish(), plainDigest(std::span(bytes).first(3 * size)));
        EXPECT_EQ(done, (std::vector<int>{0, 1, 2}));
    }
}

TEST(BackgroundDigest, LittleWorkIsDoneAtOnceWhenItIsToBegin) {
    bool done = false;
    BackgroundDigest digest;
    digest.run([&done](Sha256&) { done = true; }, 1);
    digest.begin();
    EXPECT_TRUE(done);
}

TEST(BackgroundDigest, AMessageThatIsGivenUpIsLetGo) {
    const std::vector<std::byte> bytes = someBytes(1'000'000);
    for (int round = 0; round < 20; ++round) {
        BackgroundDigest digest;
        digest.update(bytes);
    }
}

} // namespace
} // namespace mos
