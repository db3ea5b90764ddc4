#include "server/api/login_throttle.h"

#include <gtest/gtest.h>

#include <string>

namespace mos::server {
namespace {

using std::chrono::seconds;

LoginThrottle::Time at(int second) {
    return LoginThrottle::Time(std::chrono::hours(1) + seconds(second));
}

void fail(LoginThrottle& throttle, int times, int second) {
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(throttle.attempt("you", at(second)), seconds(0));
    }
}

TEST(LoginThrottle, FiveFailuresAreFree) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    EXPECT_EQ(throttle.attempt("you", at(0)), seconds(1));
    EXPECT_EQ(throttle.attempt("another", at(0)), seconds(0));
}

TEST(LoginThrottle, EachFurtherFailureDoublesTheWaitUpToAMinute) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    int now = 0;
    for (const int wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
        EXPECT_EQ(throttle.attempt("you", at(now)), seconds(wait));
        now += wait;
        EXPECT_EQ(throttle.attempt("you", at(now)), seconds(0));
    }
}

TEST(LoginThrottle, AnAttemptThatHasToWaitIsNoFailure) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(throttle.attempt("you", at(0)), seconds(1));
    }
    EXPECT_EQ(throttle.attempt("you", at(1)), seconds(0));
}

TEST(LoginThrottle, ASuccessForgetsTheFailures) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    throttle.succeeded("you");
    fail(throttle, 5, 0);
}

TEST(LoginThrottle, TenQuietMinutesForgetTheFailures) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    fail(throttle, 5, 601);
}

/// One failure each of so many names.
void failAsMany(LoginThrottle& throttle, int names, int second) {
    for (int i = 0; i < names; ++i) {
        EXPECT_EQ(throttle.attempt("name " + std::to_string(i), at(second)), seconds(0));
    }
}

TEST(LoginThrottle, OfTooManyNamesThoseThatWereQuietAreForgotten) {
    LoginThrottle throttle;
    failAsMany(throttle, 19'999, 0);
    fail(throttle, 5, 700);
    EXPECT_EQ(throttle.attempt("another", at(700)), seconds(0));
    EXPECT_EQ(throttle.attempt("you", at(700)), seconds(1));
}

TEST(LoginThrottle, WhenNoneOfTooManyNamesWasQuietAllAreForgotten) {
    LoginThrottle throttle;
    fail(throttle, 5, 0);
    failAsMany(throttle, 19'999, 0);
    EXPECT_EQ(throttle.attempt("you", at(0)), seconds(1));
    EXPECT_EQ(throttle.attempt("another", at(0)), seconds(0));
    EXPECT_EQ(throttle.attempt("you", at(0)), seconds(0));
}

} // namespace
} // namespace mos::server
