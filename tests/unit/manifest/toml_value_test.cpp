#include "manifest/toml_value.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TomlValue tableWith(std::string key, TomlValue value) {
    TomlTable table;
    table.assign(std::move(key), std::move(value));
    return table;
}

TEST(TomlValue, givesWhatItHolds) {
    EXPECT_EQ(TomlValue(std::string("a")).asString(), "a");
    EXPECT_EQ(TomlValue(std::int64_t{-3}).asInteger(), -3);
    EXPECT_TRUE(TomlValue(true).asBoolean());
    EXPECT_EQ(TomlValue(TomlArray(2)).asArray().size(), 2U);
    EXPECT_EQ(tableWith("k", true).asTable().size(), 1U);
}

TEST(TomlValue, throwsWhenAskedForAnotherKind) {
    EXPECT_THROW(static_cast<void>(TomlValue(true).asString()), std::bad_variant_access);
    EXPECT_THROW(static_cast<void>(TomlValue(true).asInteger()), std::bad_variant_access);
    EXPECT_THROW(static_cast<void>(TomlValue().asBoolean()), std::bad_variant_access);
    EXPECT_THROW(static_cast<void>(TomlValue().asArray()), std::bad_variant_access);
    EXPECT_THROW(static_cast<void>(TomlValue().asTable()), std::bad_variant_access);
}

TEST(TomlValue, findsKeysOfTablesOnly) {
    const TomlValue table = tableWith("k", std::string("v"));
    EXPECT_TRUE(contains(table, "k"));
    EXPECT_FALSE(contains(table, "other"));
    EXPECT_FALSE(contains(TomlValue(true), "k"));
    EXPECT_EQ(find(table, "other"), nullptr);
    EXPECT_EQ(find(TomlValue(TomlArray(1)), "k"), nullptr);
    EXPECT_EQ(table.asTable().size(), 1U);
}

TEST(TomlValue, fallsBackToTheDefaultForAnAbsentKeyOrAnotherKind) {
    EXPECT_EQ(get_string(tableWith("k", std::string("v")), "k", "d"), "v");
    EXPECT_EQ(get_string(tableWith("k", true), "k", "d"), "d");
    EXPECT_EQ(get_string(tableWith("k", true), "other", "d"), "d");
    EXPECT_EQ(get_string(TomlValue(true), "k", "d"), "d");
    EXPECT_TRUE(get_bool(tableWith("k", true), "k", false));
    EXPECT_TRUE(get_bool(tableWith("k", std::string("true")), "k", true));
    EXPECT_FALSE(get_bool(tableWith("k", std::string("true")), "k", false));
    EXPECT_TRUE(get_bool(TomlValue(), "k", true));
}

TEST(TomlValue, copiesTheWholeSubtree) {
    const TomlValue original = tableWith("list", TomlArray{std::string("a"), TomlArray{true}});
    TomlValue copy = original;
    copy.asTable().find("list")->asArray().clear();
    EXPECT_EQ(find(original, "list")->asArray().size(), 2U);
    EXPECT_TRUE(find(original, "list")->asArray()[1].asArray()[0].asBoolean());
    TomlValue& self = copy;
    copy = self;
    EXPECT_TRUE(contains(copy, "list"));
}

TEST(TomlValue, aValueThatIsAssignedIsACopy) {
    TomlValue copy(true);
    {
        const TomlValue original = tableWith("k", std::string("a"));
        copy = original;
        EXPECT_EQ(original.asTable().begin()->value.asString(), "a");
    }
    EXPECT_EQ(copy.asTable().begin()->key, "k");
    EXPECT_EQ(copy.asTable().begin()->value.asString(), "a");
}

} // namespace
} // namespace mos
