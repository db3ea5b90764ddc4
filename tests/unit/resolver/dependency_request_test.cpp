#include "resolver/dependency_request.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(DependencyRequest, isSplitAtTheFirstAt) {
    struct Row {
        std::string argument;
        std::string name;
        std::string constraintText;
    };
    for (const Row& row :
         {Row{"json", "json", ""}, Row{"json@", "json", ""}, Row{"json@^1.2", "json", "^1.2"},
          Row{"a@b@c", "a", "b@c"}, Row{"@1", "", "1"}, Row{"", "", ""}}) {
        EXPECT_EQ(parseDependencyRequest(row.argument).name, row.name) << row.argument;
        EXPECT_EQ(parseDependencyRequest(row.argument).constraintText, row.constraintText)
            << row.argument;
    }
}

} // namespace
} // namespace mos
