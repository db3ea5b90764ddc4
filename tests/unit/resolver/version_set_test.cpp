#include "resolver/version_set.h"

#include <gtest/gtest.h>

#include <numeric>

#include "resolver/version_sets.h"

namespace mos {
namespace {

std::vector<std::size_t> placesOf(const VersionSet& set) {
    std::vector<std::size_t> places;
    set.forEach([&places](std::size_t place) { places.push_back(place); });
    return places;
}

using Places = std::vector<std::size_t>;

TEST(VersionSet, holdsWhatWasInserted) {
    const VersionSet set = setOf({200, 0, 63, 64, 5});
    EXPECT_EQ(placesOf(set), (Places{0, 5, 63, 64, 200}));
    EXPECT_TRUE(set.contains(200));
    EXPECT_FALSE(set.contains(201));
    EXPECT_FALSE(set.contains(5000));
    EXPECT_EQ(placesOf(VersionSet()), Places());
}

TEST(VersionSet, holdsAllPlacesBelowANumber) {
    for (const std::size_t count : {0U, 1U, 63U, 64U, 65U, 128U, 130U}) {
        Places expected(count);
        std::iota(expected.begin(), expected.end(), 0U);
        EXPECT_EQ(placesOf(VersionSet::below(count)), expected) << count;
    }
}

TEST(VersionSet, losesTheErasedPlacesAlone) {
    const Places ends{0, 1, 5, 63, 64, 65, 100, 128, 129, 191, 192, 400};
    for (const std::size_t begin : ends) {
        for (const std::size_t end : ends) {
            VersionSet set = VersionSet::below(192);
            set.eraseRange(begin, end);
            for (std::size_t place = 0; place < 192; ++place) {
                ASSERT_EQ(set.contains(place), place < begin || place >= end)
                    << begin << " to " << end << ": " << place;
            }
        }
    }
    VersionSet set = setOf({3, 70});
    set.erase(70);
    set.erase(1000);
    EXPECT_EQ(placesOf(set), Places{3});
}

TEST(VersionSet, unitesAndIntersectsSetsOfDifferentLength) {
    VersionSet shorter = setOf({1, 2});
    shorter.unite(setOf({2, 70}));
    EXPECT_EQ(placesOf(shorter), (Places{1, 2, 70}));
    VersionSet longer = setOf({1, 2, 70, 140});
    longer.unite(setOf({3}));
    EXPECT_EQ(placesOf(longer), (Places{1, 2, 3, 70, 140}));
    longer.intersect(setOf({2, 3, 70}));
    EXPECT_EQ(placesOf(longer), (Places{2, 3, 70}));
    longer.intersect(setOf({3}));
    EXPECT_EQ(placesOf(longer), (Places{3}));
    VersionSet first = setOf({3});
    first.intersect(setOf({3, 99}));
    EXPECT_EQ(placesOf(first), (Places{3}));
}

TEST(VersionSet, includesItsSubsetsWhateverTheirLength) {
    EXPECT_TRUE(setOf({1, 70}).includes(setOf({1})));
    EXPECT_TRUE(setOf({1, 70}).includes(setOf({1, 70})));
    EXPECT_TRUE(setOf({}).includes(setOf({})));
    EXPECT_FALSE(setOf({1}).includes(setOf({1, 70})));
    EXPECT_FALSE(setOf({1, 70}).includes(setOf({2})));
    VersionSet emptied = setOf({1, 70});
    emptied.intersect(setOf({1}));
    EXPECT_TRUE(setOf({1}).includes(emptied));
}

} // namespace
} // namespace mos
