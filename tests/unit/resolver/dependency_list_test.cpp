#include "resolver/dependency_list.h"

#include <gtest/gtest.h>

#include "resolver/universe.h"

namespace mos {
namespace {

const std::string name23(23, 'a');
const std::string name24(24, 'b');
const std::string name25(25, 'c');

TEST(DependencyList, alignsNamesInAFieldOf24Bytes) {
    EXPECT_EQ(dependencyListText(
                  projectWith("zip:^1 " + name23 + ":* " + name24 + ":~2 " + name25 + ":=3")
                      .dependencies),
              "Dependencies\n\n"
              "zip                     ^1\n" +
                  name23 + " *\n" + name24 + "~2\n" + name25 + "=3\n");
}

TEST(DependencyList, isTheHeadingAloneWithoutDependencies) {
    EXPECT_EQ(dependencyListText({}), "Dependencies\n\n");
    EXPECT_EQ(dependencyListJson({}), "{\n  \"dependencies\": {\n  }\n}\n");
}

TEST(DependencyList, isAJsonObjectInTheOrderOfTheTable) {
    EXPECT_EQ(dependencyListJson(projectWith("zip:^1 json:*").dependencies),
              "{\n  \"dependencies\": {\n    \"zip\": \"^1\",\n    \"json\": \"*\"\n  }\n}\n");
}

} // namespace
} // namespace mos
