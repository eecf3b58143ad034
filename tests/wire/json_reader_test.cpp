#include "wire/json/json_reader.h"

#include <gtest/gtest.h>

#include <fstream>
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
    std::string error;
};

Reading Read(const std::string& text) {
    JsonValue value;
    const std::string_view error = ParseJson(text, value);
    return {Written(value), std::string(error)};
}

void ExpectReading(const std::string& text, const std::string& expected) {
    const bool isRefused = expected == "syntax error";
    const Reading reading = Read(text);
    EXPECT_EQ(reading.written, isRefused ? "null" : expected) << text;
    EXPECT_EQ(reading.error, isRefused ? "syntax error" : "") << text;
}

TEST(JsonReader, ReadsTheTextsOfTheVectorsAsTheySay) {
    std::ifstream file(VECTORS_PATH "/json.txt");
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        const std::size_t tab = line.find('\t');
        ExpectReading(line.substr(0, tab), line.substr(tab + 1));
    }
    EXPECT_EQ(lines, 60);
}

TEST(JsonReader, ReadsBytesThatNoLineCanHold) {
    const std::string zeros(400, '0');
    const struct {
        std::string text;
        const char* written;
    } cases[] = {
        {"// c\n{}", "{}"},
        {"\xEF\xBB\xBF{}", "{}"},
        {"[1,\r\n\t2]", "[1,2]"},
        {"[1" + zeros + "e-400]", "[1.00000000]"},
        {"[0." + zeros + "1E401]", "[1.00000000]"},
        {"[1" + zeros + "e-5,1e400,1e99999999999999999999]", "[inf,inf,inf]"},
        {"[-1" + zeros + ".5,-.5e+400]", "[-inf,-inf]"},
        {"[0." + zeros + "1e5,0." + zeros + "1E+5]", "[0.00000000,0.00000000]"},
        {"\"\\ud83d\\ude00\"", "\"\xED\xA0\xBD\xED\xB8\x80\""},
        {"\"\\b\\f\\n\\r\\t\\/\"", "\"\b\f\n\r\t/\""},
        {"[1]\0[2]"s, "[1]"},
        {"\"\x01\xFF\n\"", "\"\x01\xFF\n\""},
    };
    for (const auto& [text, written] : cases) {
        ExpectReading(text, written);
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
        EXPECT_EQ(Read(tooDeep).error, "memory exhausted") << opening;
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
