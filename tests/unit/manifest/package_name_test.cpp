#include "manifest/package_name.h"

#include <gtest/gtest.h>

#include <vector>

namespace mos {
namespace {

std::string verdict(std::string_view name) {
    std::string reason;
    return validate_package_name(name, &reason) ? "valid" : reason;
}

TEST(PackageName, isValidOrRefusedForOneReason) {
    const std::string badCharacter =
        "package name may only contain alphanumeric characters, hyphens, and underscores";
    const std::string tooLong = "package name exceeds maximum length of 64 characters";
    const std::string noLetter = "package name must start with an ASCII letter";
    struct Row {
        std::string name;
        std::string verdict;
    };
    const std::vector<Row> rows{
        {"", "package name cannot be empty"},
        {"a", "valid"},
        {std::string(64, 'a'), "valid"},
        {std::string(65, 'a'), tooLong},
        {std::string(65, '$'), tooLong},
        {"1abc", noLetter},
        {"-abc", noLetter},
        {"_abc", noLetter},
        {"\xC3\xA4", noLetter},
        {"true", "package name 'true' is a reserved identifier"},
        {"moss", "package name 'moss' is a reserved identifier"},
        {"function", "package name 'function' is a reserved identifier"},
        {"functions", "valid"},
        {"my-core", "valid"},
        {"Main", "package name should be lowercase"},
        {"my_pkg-2", "valid"},
        {"my.pkg", badCharacter},
        {"my pkg", badCharacter},
        {"myPkg", "package name should be lowercase"},
        {"Bad$", "package name should be lowercase"},
        {"bad$X", badCharacter},
        {"a\xC3\xA4", badCharacter},
        {std::string("a\0b", 3), badCharacter},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(verdict(row.name), row.verdict) << "name: " << row.name;
    }
}

TEST(PackageName, isRefusedWhenItIsAnyReservedIdentifier) {
    for (const std::string name :
         {"std", "core", "moss", "mos", "test", "main", "null", "true", "false", "int", "float",
          "string", "bool", "boolean", "void", "any", "class", "function"}) {
        EXPECT_EQ(verdict(name), "package name '" + name + "' is a reserved identifier");
    }
}

TEST(PackageName, needsNoPlaceForTheReason) {
    EXPECT_FALSE(validate_package_name("", nullptr));
    EXPECT_TRUE(validate_package_name("a", nullptr));
}

} // namespace
} // namespace mos
