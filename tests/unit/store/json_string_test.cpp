#include "store/json_string.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

struct Row {
    const char* name;
    const char* text;
    const char* key;
    const char* expected;
};

class JsonString : public testing::TestWithParam<Row> {};

TEST_P(JsonString, IsFoundByScanning) {
    EXPECT_EQ(extractJsonString(GetParam().text, GetParam().key), GetParam().expected)
        << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, JsonString,
    testing::Values(Row{"APlainValue", R"({"a":"1","b":"2"})", "b", "2"},
                    Row{"BlanksBetweenThePieces", "{ \"a\" \n :\t \"1\" }", "a", "1"},
                    Row{"AnEmptyValue", R"({"a":"","b":"2"})", "a", ""},
                    Row{"AMissingKey", R"({"a":"1"})", "b", ""}, Row{"AnEmptyText", "", "a", ""},
                    Row{"AKeyWithoutColon", R"({"a")", "a", ""},
                    Row{"AKeyWithoutValue", R"({"a":)", "a", ""},
                    Row{"AnUnfinishedValue", R"({"a":"1)", "a", ""},
                    Row{"AnEscapedQuotationMarkEndsTheValue", R"({"a":"x\"y"})", "a", R"(x\)"},
                    Row{"ANumberIsPassedOver", R"({"a":1,"b":"2"})", "a", "b"},
                    Row{"NullIsPassedOver", R"({"a":null})", "a", ""},
                    Row{"AnObjectIsPassedOver", R"({"a":{"c":"3"}})", "a", "c"},
                    Row{"TheFirstOccurrenceWins", R"({"a":"1","a":"2"})", "a", "1"},
                    Row{"AKeyInsideAnotherValueWins", R"({"x":["a"],"y":"1","a":"2"})", "a", "1"},
                    Row{"AKeyIsNotFoundInsideALongerWord", R"({"ab":"1","a":"2"})", "a", "2"},
                    Row{"AValueMayHoldColonsAndBraces", R"({"a":"{x:y}"})", "a", "{x:y}"},
                    Row{"AnEmptyKeyIsTwoQuotationMarks", R"({"":"1"})", "", "1"}),
    [](const auto& row) { return row.param.name; });

} // namespace
} // namespace mos
