#include "wire/json/json_reader.h"

#include <gtest/gtest.h>

#include <string>

#include "wire/json/json_writer.h"

namespace vantry {
namespace {

using namespace std::string_literals;

std::string Written(const JsonValue& value) {
    std::string text;
    WriteJsonValue(text, value);
    return text;
}

std::string Repeated(const std::string& text, int count) {
    std::string all;
    for (int place = 0; place < count; ++place) {
        all += text;
    }
    return all;
}

/// The tree of a text, written again, and the message of the reader.
struct Reading {
    std::string written;
    std::string errors;
};

Reading Read(const std::string& text) {
    testing::internal::CaptureStderr();
    const JsonValue value = ParseJsonString(text);
    return {Written(value), testing::internal::GetCapturedStderr()};
}

TEST(JsonReader, TakesWhatItsLanguageTakes) {
    const struct {
        std::string text;
        const char* written;
    } cases[] = {
        {"{}", "{}"},
        {"[]", "[]"},
        {"1", "1"},
        {"\"x\"", "\"x\""},
        {"true", "true"},
        {"null", "null"},
        {"[,1]", "[1]"},
        {"{,\"a\":1}", "{\"a\": 1}"},
        {"[1]junk", "[1]"},
        {"{'a':1}", "{\"a\": 1}"},
        {"{\"a\":1,\"a\":2}", "{\"a\": 1}"},
        {"{\"a\":1,\"a\":{\"b\":[2]},\"c\":3}", "{\"a\": 1,\"c\": 3}"},
        {"{\"b\":1,\"a\":2,\"B\":3,\"ab\":4}", "{\"B\": 3,\"a\": 2,\"ab\": 4,\"b\": 1}"},
        {"[tru]", "[]"},
        {"[nullable]", "[null]"},
        {"[truefalse]", nullptr},
        {"[\"a\\qb\"]", "[]"},
        {"[\"a\\u12\"]", "[12]"},
        {"{\"k\":\"1\\q\"}", "{\"k\": 1}"},
        {"[\"a\"b\"]", "[\"a\"]"},
        {"// c\n{}", "{}"},
        {"/* x */[]", "[]"},
        {"\xEF\xBB\xBF{}", "{}"},
        {"[1,\r\n\t2]", "[1,2]"},
        {"[0123]", "[123]"},
        {"[+1,-1]", "[1,-1]"},
        {"[+,-,.,e5]", "[0.00000000,0.00000000,0.00000000,0.00000000]"},
        {"[5e]", "[5]"},
        {"[5e+]", nullptr},
        {"[1.,.5,1e3,-2.5E-1]", "[1.00000000,0.50000000,1000.00000000,-0.25000000]"},
        {"[1" + Repeated("0", 400) + "e-400]", "[1.00000000]"},
        {"[0." + Repeated("0", 400) + "1E401]", "[1.00000000]"},
        {"[1" + Repeated("0", 400) + "e-5,1e400,1e99999999999999999999]", "[inf,inf,inf]"},
        {"[-1" + Repeated("0", 400) + ".5,-.5e+400]", "[-inf,-inf]"},
        {"[0." + Repeated("0", 400) + "1e5,0." + Repeated("0", 400) + "1E+5]",
         "[0.00000000,0.00000000]"},
        {"[-1e-400,0.1e-99999999999999999999]", "[-0.00000000,0.00000000]"},
        {"[4294967296,2147483648]", "[0,-2147483648]"},
        {"[99999999999999999999]", "[-1]"},
        {"['a\\']", "[\"a\\\"]"},
        {"['it is \"so\"']", "[\"it is \"so\"\"]"},
        {"\"a\\u0000b\"", "\"a\""},
        {"\"\\u00e9\"", "\"\xC3\xA9\""},
        {"\"\\ud83d\\ude00\"", "\"\xED\xA0\xBD\xED\xB8\x80\""},
        {"\"\\b\\f\\n\\r\\t\\/\"", "\"\b\f\n\r\t/\""},
        {"[1]\0[2]"s, "[1]"},
        {"\"\x01\xFF\n\"", "\"\x01\xFF\n\""},
    };
    for (const auto& [text, written] : cases) {
        const Reading reading = Read(text);
        EXPECT_EQ(reading.written, written == nullptr ? "null" : written) << text;
        EXPECT_EQ(reading.errors, written == nullptr ? "error: syntax error\n" : "") << text;
    }
}

TEST(JsonReader, RefusesTheRestWithOneLine) {
    for (const char* text : {"",
                             "  \t\n",
                             "{\"a\":1,}",
                             "[1,]",
                             "[,,1]",
                             "[,]",
                             "[1,,2]",
                             "1 2",
                             "[1][2]",
                             "{a:1}",
                             "{1:2}",
                             "tru",
                             "True",
                             "[0x10]",
                             "1.2.3",
                             "1true",
                             "[",
                             "{\"a\"",
                             "{\"a\":",
                             "]",
                             "[}",
                             "{\"a\" 1}",
                             "{\"a\":1 \"b\":2}",
                             ":",
                             "[\"a\":1]",
                             "{,}"}) {
        const Reading reading = Read(text);
        EXPECT_EQ(reading.written, "null") << text;
        EXPECT_EQ(reading.errors, "error: syntax error\n") << text;
    }
}

TEST(JsonReader, NestsAsDeepAsItsStackAndCostsNoMachineStack) {
    const struct {
        std::string opening;
        std::string middle;
        std::string closing;
        int deepest;
    } cases[] = {
        {"[", "", "]", 9998},
        {"[1,", "1", "]", 3333},
        {"{\"a\":", "1", "}", 3333},
        {"{\"a\":1,\"b\":", "1", "}", 1999},
    };
    for (const auto& [opening, middle, closing, deepest] : cases) {
        const std::string good = Repeated(opening, deepest) + middle + Repeated(closing, deepest);
        EXPECT_NE(Read(good).written, "null") << opening;
        const std::string tooDeep =
            Repeated(opening, deepest + 1) + middle + Repeated(closing, deepest + 1);
        EXPECT_EQ(Read(tooDeep).errors, "error: memory exhausted\n") << opening;
    }
    const JsonValue deep = ParseJsonString(Repeated("[", 9998) + Repeated("]", 9998));
    const JsonValue copy = deep;
    EXPECT_EQ(Written(copy), Written(deep));
}

TEST(JsonReader, TakesATimeThatGrowsWithTheTextAlone) {
    // Each of these quotes could begin a string that fails only at the end of the text.
    const std::string text = "[" + Repeated("\"\\", 1'000'000) + "q]";
    EXPECT_EQ(Read(text).written, "[]");
    EXPECT_EQ(Read("[" + Repeated("\\\"", 1'000'000)).written, "null");
}

TEST(JsonValue, AnUnsetMemberReadsAsEmpty) {
    JsonObject object;
    const JsonValue* node = nullptr;
    EXPECT_FALSE(HasKey(object, "x", node));
    EXPECT_EQ(object.size(), 0U);
    EXPECT_EQ(object["x"].string, "");
    EXPECT_TRUE(HasKey(object, "x", node));
    EXPECT_EQ(node->type, JsonType::Null);
    EXPECT_TRUE(JsonValue(std::int64_t{5}).array.empty());
}

TEST(JsonValue, ACopySharesNothingAndAMoveLeavesItsSourceEmpty) {
    JsonValue source = ParseJsonString(R"({"a": [{"b": "text"}]})");
    JsonValue copy = source;
    copy.object["a"].array[0].object["b"].string = "other";
    EXPECT_EQ(Written(source), R"({"a": [{"b": "text"}]})");
    const JsonValue moved = std::move(copy);
    EXPECT_EQ(copy.type, JsonType::Object);  // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(copy.object.empty());
    EXPECT_EQ(Written(moved), R"({"a": [{"b": "other"}]})");
    // A descendant may be assigned to its ancestor.
    source = JsonValue(source.object["a"].array[0]);
    EXPECT_EQ(Written(source), R"({"b": "text"})");
}

}  // namespace
}  // namespace vantry
