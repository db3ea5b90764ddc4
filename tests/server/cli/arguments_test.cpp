#include "server/cli/arguments.h"

#include <gtest/gtest.h>

#include <array>

namespace mos::server {
namespace {

constexpr std::array specs{OptionSpec{"--data", "DIR", ""}, OptionSpec{"--undo", "", ""}};

Arguments parse(const std::vector<std::string>& words) {
    return {words, specs};
}

TEST(Arguments, OptionsStandAnywhere) {
    const Arguments arguments = parse({"json", "--data", "here", "1.0.0", "--undo"});
    EXPECT_EQ(arguments.text("--data", ""), "here");
    EXPECT_TRUE(arguments.has("--undo"));
    EXPECT_EQ(arguments.words(std::array<std::string_view, 2>{"NAME", "VERSION"}),
              (std::vector<std::string>{"json", "1.0.0"}));
}

TEST(Arguments, AValueMayFollowAnEqualsSign) {
    EXPECT_EQ(parse({"--data=a=b"}).text("--data", ""), "a=b");
}

TEST(Arguments, WhatStandsBehindTwoDashesIsKeptAside) {
    const Arguments arguments = parse({"--undo", "--", "mos", "--data", "--"});
    EXPECT_EQ(arguments.behindDashes(), (std::vector<std::string>{"mos", "--data", "--"}));
    EXPECT_FALSE(arguments.has("--data"));
}

TEST(Arguments, NumbersHaveBounds) {
    EXPECT_EQ(parse({"--data", "12"}).number("--data", 5, 1, 12), 12U);
    EXPECT_EQ(parse({}).number("--data", 5, 1, 12), 5U);
    for (const char* const text : {"0", "13", "", "-1", "1x", "99999999999999999999"}) {
        EXPECT_THROW(static_cast<void>(parse({"--data", text}).number("--data", 5, 1, 12)),
                     Failure);
    }
}

TEST(Arguments, WrongOptionsAreFailuresOfTheCommandLine) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"--frob"}, {"--data"}, {"--undo=yes"}}) {
        try {
            parse(words);
            ADD_FAILURE() << words[0];
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, exitUsage);
        }
    }
}

} // namespace
} // namespace mos::server
