#include "wire/json/json_writer.h"

#include <gtest/gtest.h>

#include "wire/json/json_escapes.h"
#include "wire/json/json_reader.h"

namespace vantry {
namespace {

using namespace std::string_literals;

TEST(JsonWriter, WritesExactBytes) {
    JsonObject object;
    object.insert("c", JsonObject{});
    object.insert("b", JsonArray{std::int64_t{1}, 1.5, 100.0, true, JsonValue{}, "a\"b"});
    object.insert("a", std::int64_t{-7});
    object.insert("a", std::int64_t{8});
    std::string text;
    WriteJsonValue(text, object);
    EXPECT_EQ(text, R"({"a": -7,"b": [1,1.50000000,100.00000000,true,null,"a"b"],"c": {}})");
}

TEST(EscapeJsonText, EscapesWhatMustNotStandRaw) {
    const struct {
        std::string plain;
        std::string escaped;
    } cases[] = {
        {"", ""},
        {"a/b\x7F\xC3\xA9", "a/b\x7F\xC3\xA9"},
        {"a\"b", "a\\\"b"},
        {"\\", "\\\\"},
        {"\b\t\n\f\r", "\\b\\t\\n\\f\\r"},
        {"\x01\x1F\x0B", "\\u0001\\u001f\\u000b"},
        {"\0x"s, "\\u0000x"},
    };
    for (const auto& [plain, escaped] : cases) {
        EXPECT_EQ(EscapeJsonText(plain), escaped);
    }
}

TEST(EscapeJsonText, TheReaderUndoesEveryByteButZero) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    EXPECT_EQ(ParseJsonString("\"" + EscapeJsonText(all) + "\"").string, all);
}

}  // namespace
}  // namespace vantry
