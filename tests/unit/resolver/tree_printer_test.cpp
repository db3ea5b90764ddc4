#include "resolver/tree_printer.h"

#include <gtest/gtest.h>

#include <string>

namespace mos {
namespace {

Resolution graph(const std::string& root,
                 const std::vector<std::pair<std::string, std::vector<std::string>>>& packages) {
    Resolution resolution;
    resolution.root = root;
    for (const auto& [name, dependencies] : packages) {
        ResolvedPackage package;
        package.name = name;
        package.version = Version{1, 0, 0, {}, {}};
        package.dependencies = dependencies;
        package.isRoot = name == root;
        resolution.packages.assign(name, package);
    }
    return resolution;
}

std::string printed(const Resolution& resolution) {
    std::string text;
    printTree(resolution, [&text](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

TEST(TreePrinter, writesTheRootAloneForAProjectWithoutDependencies) {
    EXPECT_EQ(printed(graph("app", {{"app", {}}})), "app\n");
    EXPECT_EQ(printed(graph("app", {})), "app\n");
}

TEST(TreePrinter, saysSoForAProjectWithoutARoot) {
    EXPECT_EQ(printed(Resolution{}), "(empty project)\n");
}

TEST(TreePrinter, indentsBelowTheLastChildWithBlanksAndBelowOthersWithALine) {
    EXPECT_EQ(printed(graph("app", {{"app", {"b", "a"}},
                                    {"a", {"c", "d"}},
                                    {"b", {"c", "d"}},
                                    {"c", {"e"}},
                                    {"d", {}},
                                    {"e", {}}})),
              "app\n"
              "├── b 1.0.0\n"
              "│   ├── c 1.0.0\n"
              "│   │   └── e 1.0.0\n"
              "│   └── d 1.0.0\n"
              "└── a 1.0.0\n"
              "    ├── c 1.0.0\n"
              "    │   └── e 1.0.0\n"
              "    └── d 1.0.0\n");
}

TEST(TreePrinter, writesANameAloneForAPackageThatIsNotResolved) {
    EXPECT_EQ(printed(graph("app", {{"app", {"a"}}, {"a", {"gone"}}})),
              "app\n└── a 1.0.0\n    └── gone\n");
}

TEST(TreePrinter, writesAPackageAmongItsOwnAncestorsWithoutItsSubtree) {
    EXPECT_EQ(
        printed(graph("app", {{"app", {"a", "b"}}, {"a", {"b"}}, {"b", {"a", "c"}}, {"c", {}}})),
        "app\n"
        "├── a 1.0.0\n"
        "│   └── b 1.0.0\n"
        "│       ├── a 1.0.0\n"
        "│       └── c 1.0.0\n"
        "└── b 1.0.0\n"
        "    ├── a 1.0.0\n"
        "    │   └── b 1.0.0\n"
        "    └── c 1.0.0\n");
    EXPECT_EQ(printed(graph("app", {{"app", {"a"}}, {"a", {"a", "app"}}})),
              "app\n└── a 1.0.0\n    ├── a 1.0.0\n    └── app 1.0.0\n");
}

TEST(TreePrinter, endsWhenNoMoreIsWanted) {
    const Resolution resolution = graph("app", {{"app", {"a", "b"}}, {"a", {"b"}}, {"b", {}}});
    for (std::size_t wanted = 1; wanted <= 4; ++wanted) {
        std::size_t lines = 0;
        printTree(resolution, [&](std::string_view /*line*/) { return ++lines < wanted; });
        EXPECT_EQ(lines, wanted);
    }
}

TEST(TreePrinter, endsForAGraphOfTwentyThousandLevels) {
    Resolution resolution = graph("app", {{"app", {"p0"}}});
    for (int i = 0; i < 20000; ++i) {
        ResolvedPackage package;
        package.name = "p" + std::to_string(i);
        package.dependencies = {"p" + std::to_string(i + 1)};
        resolution.packages.assign(package.name, package);
    }
    std::size_t lines = 0;
    printTree(resolution, [&lines](std::string_view /*line*/) { return ++lines > 0; });
    EXPECT_EQ(lines, 20002U);
}

} // namespace
} // namespace mos
