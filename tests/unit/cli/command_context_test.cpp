#include "cli/command_context.h"

#include <gtest/gtest.h>

#include <map>

namespace mos {
namespace {

/// A parsed command line as text: command (args) -- passthrough; flags; options.
std::string parsed(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "mos");
    const CommandContext context =
        parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    std::string text = "[" + context.command + "]";
    for (const std::string& argument : context.args) {
        text += " (" + argument + ")";
    }
    for (const std::string& argument : context.passthroughArgs) {
        text += " <" + argument + ">";
    }
    std::map<std::string, std::string> sorted;
    for (const auto& [name, value] : context.flags) {
        EXPECT_TRUE(value) << name;
        sorted[name] = " !" + name;
    }
    for (const auto& [name, value] : context.options) {
        sorted[name] += " " + name + "=" + value;
    }
    for (const auto& [name, shown] : sorted) {
        text += shown;
    }
    return text;
}

TEST(CommandLine, isSortedIntoCommandArgumentsFlagsAndOptions) {
    struct Row {
        std::vector<const char*> arguments;
        std::string result;
    };
    const std::vector<Row> rows{
        {{}, "[]"},
        {{"build"}, "[build]"},
        {{"add", "a", "b"}, "[add] (a) (b)"},
        {{"publish", "--token", "abc"}, "[publish] token=abc"},
        {{"publish", "--token", "-x"}, "[publish] !token !x"},
        {{"publish", "--token=abc"}, "[publish] token=abc"},
        {{"publish", "--token="}, "[publish] token="},
        {{"publish", "--token=a=b"}, "[publish] token=a=b"},
        {{"publish", "--token", ""}, "[publish] token="},
        {{"publish", "--token"}, "[publish] !token"},
        {{"publish", "--token", "--", "a"}, "[publish] <a> !token"},
        {{"publish", "--t", "a", "--t", "b"}, "[publish] t=b"},
        {{"publish", "--t", "a", "--t"}, "[publish] !t t=a"},
        {{"list", "--json"}, "[list] !json"},
        {{"--json", "list"}, "[] json=list"},
        {{"--json", "list", "tree"}, "[tree] json=list"},
        {{"-v", "-vvv", "build"}, "[build] !v !vvv"},
        {{"-v", "build", "-vv"}, "[build] !v !vv"},
        {{"-h"}, "[] !help"},
        {{"--h"}, "[] !h"},
        {{"-abc"}, "[] !abc"},
        {{"-o=1"}, "[] !o=1"},
        {{"-"}, "[-]"},
        {{"x", "-"}, "[x] (-)"},
        {{"--t", "-"}, "[-] !t"},
        {{"run", "--", "--json", "a", "--", "-v"}, "[run] <--json> <a> <--> <-v>"},
        {{"--", "run"}, "[] <run>"},
        {{"", "build"}, "[build]"},
        {{"build", ""}, "[build] ()"},
        {{"--=x"}, "[] =x"},
        {{"---a"}, "[] !-a"},
    };
    for (const Row& row : rows) {
        std::string line;
        for (const char* argument : row.arguments) {
            line += std::string(" '") + argument + "'";
        }
        EXPECT_EQ(parsed(row.arguments), row.result) << "line:" << line;
    }
}

TEST(CommandLine, mayBeEmptyAltogether) {
    EXPECT_EQ(parseCommandLine(0, nullptr).command, "");
}

TEST(CommandContext, countsAnOptionWithAValueAsAFlag) {
    CommandContext context;
    context.flags["a"] = true;
    context.options["b"] = "1";
    EXPECT_TRUE(context.hasFlag("a"));
    EXPECT_TRUE(context.hasFlag("b"));
    EXPECT_FALSE(context.hasFlag("c"));
}

TEST(CommandContext, hasTheDefaultForAFlagWithoutAValue) {
    CommandContext context;
    context.flags["a"] = true;
    context.options["b"] = "1";
    EXPECT_EQ(context.getOption("a", "d"), "d");
    EXPECT_EQ(context.getOption("b", "d"), "1");
    EXPECT_EQ(context.getOption("c", "d"), "d");
}

} // namespace
} // namespace mos
