#include "manifest/toml_reader.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "semver/trim.h"

namespace mos {
namespace {

/// A value as text that shows its kind: "s" i1 true [..] {k=..}.
std::string shown(const TomlValue& value) {
    if (value.isString()) {
        return '"' + value.asString() + '"';
    }
    if (value.isInteger()) {
        return std::to_string(value.asInteger());
    }
    if (value.isBoolean()) {
        return value.asBoolean() ? "true" : "false";
    }
    std::string text;
    if (value.isArray()) {
        for (const TomlValue& element : value.asArray()) {
            text.append(text.empty() ? "" : ", ").append(shown(element));
        }
        return "[" + text + "]";
    }
    for (const auto& entry : value.asTable()) {
        text.append(text.empty() ? "" : ", ").append(entry.key + "=" + shown(entry.value));
    }
    return "{" + text + "}";
}

std::string document(std::string_view text) {
    std::string error;
    const auto root = parse(text, &error);
    return root ? shown(*root) : error;
}

std::string value(std::string_view text) {
    const auto read = parse_value(text);
    return read ? shown(*read) : "none";
}

TEST(TomlReader, readsDocumentsAndNamesTheLineOfAFailure) {
    struct Row {
        std::string_view name;
        std::string_view text;
        std::string result;
    };
    const std::vector<Row> rows{
        {"empty", "", "{}"},
        {"blank lines and comments", "\n# a\n  \t\r\n", "{}"},
        {"statements", "a = 1\r\nb = \"x\"", "{a=1, b=\"x\"}"},
        {"duplicate key keeps place, last value", "a = 1\nb = 2\na = 3", "{a=3, b=2}"},
        {"hash inside a string", "url = \"a#b\" # c", "{url=\"a#b\"}"},
        {"hash after an escaped quote", "x = \"a\\\"#b\"", "{x=\"a\"#b\"}"},
        {"hash after an escaped backslash and quote", "x = \"a\\\\\"#b\"", "{x=\"a\\\"#b\"}"},
        {"single quotes do not protect a hash", "x = 'a#b'",
         "Line 1: Failed to parse value for key 'x': 'a"},
        {"float", "\n\nversion = 1.0", "Line 3: Failed to parse value for key 'version': 1.0"},
        {"header without its bracket", "[dependencies",
         "Line 1: Expected '=' in statement: [dependencies"},
        {"no equals sign", "# c\n  word # c", "Line 2: Expected '=' in statement: word"},
        {"no value", "a =", "Line 1: Failed to parse value for key 'a': "},
        {"empty key", "= 1", "{=1}"},
        {"array of tables twice", "[[bin]]\na = 1\n[[bin]]\nb = 2", "{bin=[{a=1}, {b=2}]}"},
        {"array of tables after a table", "[bin]\n[[bin]]",
         "Line 2: Expected array of tables for bin"},
        {"array of tables continues a plain array", "bin = [1]\n[[ bin ]]\na = 1",
         "{bin=[1, {a=1}]}"},
        {"array of tables is not split at dots", "[[a.b]]\nc = 1", "{a.b=[{c=1}]}"},
        {"empty array of tables name", "[[]]\na = 1", "{=[{a=1}]}"},
        {"half an array of tables header", "[[]\na = 1", "{[={a=1}}"},
        {"nested header", "[a.b]\nc = 1", "{a={b={c=1}}}"},
        {"nested header with blanks", "[ a . b ]\nc = 1", "{a={b={c=1}}}"},
        {"empty header pieces are dropped", "[.a..b.]\nc = 1", "{a={b={c=1}}}"},
        {"empty header is the root", "[a]\n[]\nc = 1", "{a={}, c=1}"},
        {"quotes in a header", "[\"a.b\"]\nc = 1", "{\"a={b\"={c=1}}}"},
        {"dotted key is one key", "a.b = 1", "{a.b=1}"},
        {"quoted key keeps its quotes", "\"a\" = 1", "{\"a\"=1}"},
        {"reopened table", "[a]\nx = 1\n[b]\n[a]\ny = 2", "{a={x=1, y=2}, b={}}"},
        {"parent after child", "[a.b]\nx = 1\n[a]\ny = 2", "{a={b={x=1}, y=2}}"},
        {"header through a scalar replaces it", "a = 1\n[a.b]\nc = 2", "{a={b={c=2}}}"},
        {"header of a scalar without statements keeps it", "a = 1\n[a]", "{a=1}"},
        {"header of a scalar with statements replaces it", "a = 1\n[a]\nb = 2", "{a={b=2}}"},
        {"header through an array of tables replaces it", "[[a]]\nx = 1\n[a.b]\ny = 2",
         "{a={b={y=2}}}"},
        {"array over several lines", "deps = [\n1\n]",
         "Line 1: Failed to parse value for key 'deps': ["},
        {"table value redefined by header", "a = {x = 1}\n[a]\ny = 2", "{a={x=1, y=2}}"},
        {"lone quote", "x = \"", "Line 1: Failed to parse value for key 'x': \""},
        {"no line feed at the end", "a = 1\nb", "Line 2: Expected '=' in statement: b"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(document(row.text), row.result) << row.name;
    }
}

TEST(TomlReader, failsSilentlyWithoutAPlaceForTheMessage) {
    EXPECT_FALSE(parse("x", nullptr).has_value());
}

TEST(TomlReader, readsValues) {
    struct Row {
        std::string_view text;
        std::string result;
    };
    const std::vector<Row> rows{
        {"", "none"},
        {"  1 ", "1"},
        {"\"\"", "\"\""},
        {"\"", "none"},
        {R"("a\nb\tc\"d\\e\qf")", "\"a\nb\tc\"d\\eqf\""},
        {R"("a\")", "\"a\\\""},
        {R"("a"b")", "\"a\"b\""},
        {"true", "true"},
        {"false", "false"},
        {"True", "none"},
        {"0", "0"},
        {"-0", "0"},
        {"+7", "7"},
        {"-7", "-7"},
        {"+-7", "none"},
        {"--7", "none"},
        {"007", "7"},
        {"9223372036854775807", "9223372036854775807"},
        {"9223372036854775808", "none"},
        {"-9223372036854775808", "-9223372036854775808"},
        {"-9223372036854775809", "none"},
        {"1.5", "none"},
        {"1_000", "none"},
        {"0x10", "none"},
        {"+", "none"},
        {"word", "none"},
        {"'text'", "none"},
        {"1979-05-27", "none"},
        {"[]", "[]"},
        {"[ ]", "[]"},
        {"[", "none"},
        {"]", "none"},
        {"[1, 2,]", "[1, 2]"},
        {"[1,,2]", "none"},
        {"[,1]", "none"},
        {"[,]", "none"},
        {"[1, \"a,b\", [2, [3]], {c = 4}, true]", "[1, \"a,b\", [2, [3]], {c=4}, true]"},
        {"[1 2]", "none"},
        {"[1], 2]", "none"},
        {"[\"a\"]\"b\"]", "[\"a\"]\"b\"]"},
        {"[\"a\"], \"b\"]", "[\"a\"], \"b\"]"},
        {"[\"\\\"\", 1]", "[\"\"\", 1]"},
        {"{}", "{}"},
        {"{ }", "{}"},
        {"{", "none"},
        {"{a = 1}", "{a=1}"},
        {"{a = 1,}", "{a=1}"},
        {"{a = 1,,b = 2}", "none"},
        {"{,a = 1}", "none"},
        {"{,}", "none"},
        {"{a}", "none"},
        {"{a = }", "none"},
        {"{a = 1, a = 2}", "{a=2}"},
        {"{a = b = 1}", "none"},
        {"{a = \"x,y=z\"}", "{a=\"x,y=z\"}"},
        {"{a = [1]}", "{a=[1]}"},
        {"{a = [1, 2]}", "none"},
        {"{a = {b = 1}}", "{a={b=1}}"},
        {"{a = {b = 1, c = 2}}", "none"},
        {"[{a = 1}, {b = 2, c = 3}]", "[{a=1}, {b=2, c=3}]"},
        // The quote in the key opens a string for the table's commas, not for the value's.
        {"{a\" = [\"x\", y\"]}", "none"},
        {"{a\" = [1], b\" = 2}", "none"},
        {"{a\" = [1, 2], b\"}", "none"},
        {"{a\" = [\"x,y\"]}", "none"},
        {"{a\" = [1, 2]}", "{a\"=[1, 2]}"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(value(row.text), row.result) << "text: " << row.text;
    }
}

// ---- the rules read literally: every composite is scanned anew
// -----------------------------------

std::optional<TomlValue> plainValue(std::string_view text);

std::vector<std::string_view> plainPieces(std::string_view inside, bool depths,
                                          std::string_view& last) {
    std::vector<std::string_view> pieces;
    bool inString = false;
    int brackets = 0;
    int braces = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < inside.size(); ++i) {
        const char c = inside[i];
        if (c == '"' && (i == 0 || inside[i - 1] != '\\')) {
            inString = !inString;
        } else if (!inString && depths) {
            brackets += c == '[' ? 1 : c == ']' ? -1 : 0;
            braces += c == '{' ? 1 : c == '}' ? -1 : 0;
        }
        if (c == ',' && !inString && brackets == 0 && braces == 0) {
            pieces.push_back(trim(inside.substr(start, i - start)));
            start = i + 1;
        }
    }
    last = trim(inside.substr(start));
    return pieces;
}

std::optional<TomlValue> plainArray(std::string_view text) {
    std::string_view last;
    auto pieces = plainPieces(trim(text.substr(1, text.size() - 2)), true, last);
    if (!last.empty()) {
        pieces.push_back(last);
    }
    TomlArray array;
    for (const std::string_view piece : pieces) {
        auto element = plainValue(piece);
        if (!element) {
            return std::nullopt;
        }
        array.push_back(*element);
    }
    return TomlValue(array);
}

std::optional<TomlValue> plainTable(std::string_view text) {
    std::string_view last;
    auto pieces = plainPieces(trim(text.substr(1, text.size() - 2)), false, last);
    if (!last.empty()) {
        pieces.push_back(last);
    }
    TomlTable table;
    for (const std::string_view piece : pieces) {
        const std::size_t equals = piece.find('=');
        if (equals == std::string_view::npos) {
            return std::nullopt;
        }
        auto held = plainValue(piece.substr(equals + 1));
        if (!held) {
            return std::nullopt;
        }
        table.assign(std::string(trim(piece.substr(0, equals))), *held);
    }
    return TomlValue(table);
}

std::optional<TomlValue> plainValue(std::string_view text) {
    text = trim(text);
    const bool composite = text.starts_with('[') || text.starts_with('{');
    if (!composite) {
        return parse_value(text); // a scalar: the table above covers them
    }
    if (text.starts_with('[')) {
        return text.ends_with(']') ? plainArray(text) : std::nullopt;
    }
    return text.ends_with('}') ? plainTable(text) : std::nullopt;
}

TEST(TomlReader, agreesWithTheRulesReadLiterallyOnRandomText) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    const std::string alphabet = "[[]]{{}},,==\"\"\\a1 ";
    int accepted = 0;
    for (int round = 0; round < 100000; ++round) {
        std::string text;
        const std::size_t length = 1 + random() % 24;
        for (std::size_t i = 0; i < length; ++i) {
            text.push_back(alphabet[random() % alphabet.size()]);
        }
        // Most random text is refused at once; closing what it opens makes it worth reading.
        text = (round % 2 == 0 ? "[" + text + "]" : "{a=" + text + "}");
        const auto expected = plainValue(text);
        accepted += expected.has_value() ? 1 : 0;
        ASSERT_EQ(value(text), expected ? shown(*expected) : "none")
            << "seed " << seed << ", text: " << text;
    }
    EXPECT_GT(accepted, 1000) << "seed " << seed;
}

TEST(TomlReader, agreesWithTheRulesReadLiterallyOnGeneratedValues) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    const std::function<std::string(int)> make = [&](int depth) -> std::string {
        switch (random() % (depth > 0 ? 6U : 3U)) {
        case 0:
            return std::to_string(random() % 100);
        case 1:
            return random() % 2 == 0 ? "\"a,]}\"" : R"("\"[{")";
        case 2:
            return random() % 4 == 0 ? "\"x\"]\"y\"" : "true";
        case 3:
            return "{k = " + make(depth - 1) + (random() % 3 == 0 ? ", q\" = 1" : "") + "}";
        default: {
            std::string text = "[";
            for (auto n = random() % 4; n > 0; --n) {
                text += make(depth - 1) + (random() % 8 == 0 ? "" : ",") + " ";
            }
            return text + "]";
        }
        }
    };
    for (int round = 0; round < 20000; ++round) {
        const std::string text = "[" + make(5) + ", " + make(5) + "]";
        const auto expected = plainValue(text);
        ASSERT_EQ(value(text), expected ? shown(*expected) : "none")
            << "seed " << seed << ", text: " << text;
    }
}

// ---- depth and size
// ------------------------------------------------------------------------------

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

TEST(TomlReader, endsForHalfAMillionNestedBracketsWithoutACrash) {
    const std::string text = "x = " + repeated("[", 500000) + repeated("]", 500000);
    EXPECT_TRUE(parse(text, nullptr).has_value());
}

TEST(TomlReader, takesNoStackForNesting) {
    constexpr std::size_t depth = 50000;
    struct Row {
        std::string_view name;
        std::string text;
        bool accepted;
    };
    const std::vector<Row> rows{
        {"arrays", "x = " + repeated("[", depth) + repeated("]", depth), true},
        {"arrays with blanks", "x = " + repeated("[ ", depth) + repeated(" ]", depth), true},
        {"arrays with elements", "x = " + repeated("[1,", depth) + repeated("]", depth), true},
        {"unclosed arrays", "x = " + repeated("[", depth), false},
        {"tables", "x = " + repeated("{a = ", depth) + "1" + repeated("}", depth), true},
        {"unclosed tables", "x = " + repeated("{a = ", depth), false},
        {"mixed", "x = " + repeated("[{a = ", depth / 2) + "1" + repeated("}]", depth / 2), true},
        {"header", "[" + repeated("a.", depth) + "a]\nb = 1", true},
    };
    for (const Row& row : rows) {
        const auto read = parse(row.text, nullptr);
        EXPECT_EQ(read.has_value(), row.accepted) << row.name;
        if (read) {
            const TomlValue copy = *read; // copying and destroying must not recurse either
            EXPECT_TRUE(copy.isTable()) << row.name;
        }
    }
}

} // namespace
} // namespace mos
