#include "server/protocol/login_body.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

TEST(LoginBody, ValuesBetweenTheFixedPiecesAreNotUnescaped) {
    const auto login = readLoginBody(R"({"usernameOrEmail":"you","password":"a"b\"c\n"})");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->usernameOrEmail, "you");
    EXPECT_EQ(login->password, R"(a"b\"c\n)");
}

TEST(LoginBody, TheUserNameEndsWhereTheNextPieceBeginsFirst) {
    const auto login =
        readLoginBody(R"({"usernameOrEmail":"you","password":"x","password":"y"}"})");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->usernameOrEmail, "you");
    EXPECT_EQ(login->password, R"(x","password":"y"})");
}

TEST(LoginBody, AnotherSpellingIsReadAsJson) {
    const auto login = readLoginBody(R"( {"password": "a\"b", "usernameOrEmail": "you"} )");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->usernameOrEmail, "you");
    EXPECT_EQ(login->password, "a\"b");
}

TEST(LoginBody, WhatIsNeitherIsNoLogin) {
    for (const char* const body : {"", "{}", "[]", "{\"usernameOrEmail\":\"you\"}",
                                   "{\"usernameOrEmail\":\"you\",\"password\":1}",
                                   "{\"usernameOrEmail\":\"\",\"password\":\"}"}) {
        EXPECT_FALSE(readLoginBody(body)) << body;
    }
}

} // namespace
} // namespace mos::server
