#include "registry/redirect.h"

#include <string>

#include <gtest/gtest.h>

namespace mos {
namespace {

constexpr const char* here = "http://host:81/a";

struct Row {
    const char* name;
    const char* method;
    const char* from;
    int status;
    const char* target;
    const char* expected; ///< the next URL with what changes; "answer" when there is none
};

class Redirects : public testing::TestWithParam<Row> {};

TEST_P(Redirects, AreFollowedOrAreTheAnswer) {
    const Row& row = GetParam();
    const auto from = splitUrl(row.from);
    ASSERT_TRUE(from);
    const auto redirect = followRedirect(row.method, *from, row.status, row.target);
    std::string actual = "answer";
    if (redirect) {
        actual = joinUrl(redirect->url) + (redirect->becomesGet ? " as GET" : "") +
                 (redirect->leavesOrigin ? " elsewhere" : "");
    }
    EXPECT_EQ(actual, row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Redirects,
    testing::Values(
        Row{"Get301", "GET", here, 301, "http://host:81/b", "http://host:81/b"},
        Row{"Get302", "GET", here, 302, "http://host:81/b", "http://host:81/b"},
        Row{"Get303", "GET", here, 303, "http://host:81/b", "http://host:81/b"},
        Row{"Get307", "GET", here, 307, "http://host:81/b", "http://host:81/b"},
        Row{"Get308", "GET", here, 308, "http://host:81/b", "http://host:81/b"},
        Row{"Get300", "GET", here, 300, "http://host:81/b", "answer"},
        Row{"Get304", "GET", here, 304, "http://host:81/b", "answer"},
        Row{"Get305", "GET", here, 305, "http://host:81/b", "answer"},
        Row{"Get200", "GET", here, 200, "http://host:81/b", "answer"},
        Row{"GetElsewhere", "GET", here, 302, "http://other/b", "http://other:80/b elsewhere"},
        Row{"GetToAnotherPort", "GET", here, 302, "http://host/b", "http://host:80/b elsewhere"},
        Row{"GetToHttps", "GET", here, 302, "https://host:81/b", "https://host:81/b elsewhere"},
        Row{"GetFromHttpsToHttp", "GET", "https://host/a", 302, "http://host/b", "answer"},
        Row{"GetFromHttpsToHttps", "GET", "https://host/a", 302, "https://host/b",
            "https://host:443/b"},
        Row{"NoTarget", "GET", here, 302, "", "answer"},
        Row{"AFile", "GET", here, 302, "file:///etc/passwd", "answer"},
        Row{"AnotherScheme", "GET", here, 302, "ftp://host/b", "answer"},
        Row{"ATargetWithAnImpossiblePort", "GET", here, 302, "http://host:99999/b", "answer"},
        Row{"AFragment", "GET", here, 302, "http://host:81/b#c", "http://host:81/b"},
        Row{"Post301", "POST", here, 301, "http://host:81/b", "http://host:81/b as GET"},
        Row{"Post302", "POST", here, 302, "http://host:81/b", "http://host:81/b as GET"},
        Row{"Post303", "POST", here, 303, "http://host:81/b", "http://host:81/b as GET"},
        Row{"Post307", "POST", here, 307, "http://host:81/b", "http://host:81/b"},
        Row{"Post308", "POST", here, 308, "http://host:81/b", "http://host:81/b"},
        Row{"Post302Elsewhere", "POST", here, 302, "http://other/b",
            "http://other:80/b as GET elsewhere"},
        Row{"Post307Elsewhere", "POST", here, 307, "http://other/b", "answer"},
        Row{"Post308ToAnotherPort", "POST", here, 308, "http://host:82/b", "answer"},
        Row{"Post307ToHttps", "POST", here, 307, "https://host:81/b", "answer"}),
    [](const auto& row) { return row.param.name; });

} // namespace
} // namespace mos
