#include "resolver/objection_counts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "resolver/version_sets.h"

namespace mos {
namespace {

TEST(ObjectionCounts, NoVersionsAreAllObjectedTo) {
    EXPECT_TRUE(ObjectionCounts().isTotal());
    EXPECT_TRUE(ObjectionCounts(0).isTotal());
}

TEST(ObjectionCounts, AVersionIsLeftUntilThereIsAnObjectionAndAgainWhenAllAreTakenBack) {
    ObjectionCounts counts(70);
    EXPECT_EQ(counts.firstLeft(), 0U);
    counts.add(VersionSet::below(69));
    EXPECT_EQ(counts.firstLeft(), 69U);
    EXPECT_FALSE(counts.isTotal());
    counts.add(setOf({0, 69}));
    EXPECT_TRUE(counts.isTotal());
    counts.remove(VersionSet::below(69));
    EXPECT_EQ(counts.firstLeft(), 1U);
    counts.add(VersionSet::below(69));
    counts.remove(setOf({0, 69}));
    EXPECT_EQ(counts.firstLeft(), 69U);
}

TEST(ObjectionCounts, AgreeWithPlainCounts) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const std::size_t count : {1U, 20U, 64U, 65U, 200U}) {
        ObjectionCounts counts(count);
        std::vector<std::size_t> plain(count);
        std::vector<std::vector<std::size_t>> active;
        for (int step = 0; step < 3000; ++step) {
            if (active.empty() || random() % 100 < 50 + static_cast<unsigned>(active.size() < 40)) {
                std::vector<std::size_t> places;
                for (std::size_t place = random() % 3; place < count; place += 1 + random() % 3) {
                    places.push_back(place);
                    ++plain[place];
                }
                counts.add(setOf(places));
                active.push_back(std::move(places));
            } else {
                std::swap(active[random() % active.size()], active.back());
                counts.remove(setOf(active.back()));
                for (const std::size_t place : active.back()) {
                    --plain[place];
                }
                active.pop_back();
            }
            const auto first = std::ranges::find(plain, 0U);
            ASSERT_EQ(counts.isTotal(), first == plain.end());
            if (first != plain.end()) {
                ASSERT_EQ(counts.firstLeft(), static_cast<std::size_t>(first - plain.begin()));
            }
        }
    }
}

} // namespace
} // namespace mos
