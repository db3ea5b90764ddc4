#include "manifest/ordered_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace mos {
namespace {

std::string keysOf(const OrderedTable<int>& table) {
    std::string keys;
    for (const auto& entry : table) {
        keys.append(keys.empty() ? "" : " ").append(entry.key + std::to_string(entry.value));
    }
    return keys;
}

TEST(OrderedTable, keepsTheOrderOfFirstInsertion) {
    OrderedTable<int> table;
    table.assign("b", 1);
    table.assign("a", 2);
    table.assign("c", 3);
    table.assign("b", 4);
    EXPECT_EQ(keysOf(table), "b4 a2 c3");
    EXPECT_TRUE(table.erase("a"));
    EXPECT_FALSE(table.erase("a"));
    table.assign("a", 5);
    EXPECT_EQ(keysOf(table), "b4 c3 a5");
}

TEST(OrderedTable, agreesWithAPlainListOnRandomOperations) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    OrderedTable<int> table;
    std::vector<std::pair<std::string, int>> plain;
    for (int i = 0; i < 20000; ++i) {
        const std::string key = "k" + std::to_string(random() % 300);
        const auto place = std::find_if(plain.begin(), plain.end(),
                                        [&key](const auto& pair) { return pair.first == key; });
        if (random() % 3 == 0) {
            ASSERT_EQ(table.erase(key), place != plain.end()) << "seed " << seed;
            if (place != plain.end()) {
                plain.erase(place);
            }
        } else {
            table.assign(key, i);
            if (place != plain.end()) {
                place->second = i;
            } else {
                plain.emplace_back(key, i);
            }
        }
        ASSERT_EQ(table.size(), plain.size()) << "seed " << seed;
    }
    auto expected = plain.begin();
    for (const auto& entry : table) {
        EXPECT_EQ(entry.key, expected->first) << "seed " << seed;
        EXPECT_EQ(entry.value, (expected++)->second) << "seed " << seed;
        EXPECT_EQ(table.find(entry.key), &entry.value) << "seed " << seed;
    }
    EXPECT_EQ(table.find("none"), nullptr);
}

} // namespace
} // namespace mos
