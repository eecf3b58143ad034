#include <gtest/gtest.h>

#include "store/format/check_value.h"
#include "store/format/property_text.h"

namespace vantry {
namespace {

constexpr char kExample[] =
    "99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC|"
    "General:UsbPrnTxTimeout=35000\n";

bool Parse(const std::string& text, StoredLines& lines) {
    lines.clear();
    return ParsePropertyContent(MakePropertyContent(text), lines);
}

TEST(CheckValue, IsTheOneOfOtherTools) {
    EXPECT_EQ(CheckValue("abc"), 0x68C7);
    EXPECT_EQ(CheckValue("123456789"), 0x44C2);
    EXPECT_EQ(CheckValue(""), 0xFFFF);
}

TEST(PropertyText, TheExampleComesOutByteForByte) {
    EXPECT_EQ(MakePropertyContent(kExample), std::string(kExample) + "\x93\xAD");
    StoredLines lines;
    ASSERT_TRUE(Parse(kExample, lines));
    ASSERT_EQ(lines.size(), 1U);
    const auto& [key, line] = *lines.begin();
    EXPECT_EQ(key, "99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC");
    EXPECT_EQ(line.prefix, key + "|General:UsbPrnTxTimeout");
    EXPECT_EQ(line.value, "35000");
}

TEST(PropertyText, LinesAreSplitByPosition) {
    StoredLines lines;
    ASSERT_TRUE(Parse("k|p:n=a=b|c\nk2|=\nk|p:n=later\n", lines));
    EXPECT_EQ(lines["k"].value, "later");
    EXPECT_EQ(lines["k2"].prefix, "k2|");
    ASSERT_TRUE(Parse("k|p:n=a=b|c\n", lines));
    EXPECT_EQ(lines["k"].value, "a=b|c");
}

TEST(PropertyText, ABadLineSpoilsTheFileAndNotItsGoodLines) {
    StoredLines lines;
    for (const char* bad : {"", "no pipe=1", "|p=1", "k2|no equals", "=|"}) {
        EXPECT_FALSE(Parse("a|x=1\n" + std::string(bad) + "\nb|x=2\n", lines)) << bad;
        EXPECT_EQ(lines.size(), 2U) << bad;
    }
    EXPECT_TRUE(Parse("a|x=1\nb|x=unfinished", lines));
    EXPECT_EQ(lines.size(), 1U);
}

TEST(PropertyText, EveryFlippedByteAndEveryMissingEndIsSeen) {
    const std::string whole = MakePropertyContent(std::string(kExample) + "k|x=1\n");
    EXPECT_TRUE(IsGoodPropertyContent(whole));
    for (std::size_t place = 0; place < whole.size(); ++place) {
        std::string damaged = whole;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x20);
        EXPECT_FALSE(IsGoodPropertyContent(damaged)) << place;
        EXPECT_FALSE(IsGoodPropertyContent(whole.substr(0, place))) << place;
    }
    StoredLines lines;
    EXPECT_FALSE(ParsePropertyContent("\xFF\xFF", lines));
    EXPECT_TRUE(lines.empty());
}

TEST(PropertyText, ALineIsReplacedWhereItStandsAndANewOneGoesToTheEnd) {
    EXPECT_EQ(ReplaceLine("a=1\nb=2\nc=3\n", "b", "b=new"), "a=1\nb=new\nc=3\n");
    EXPECT_EQ(ReplaceLine("a=1\na=2\n", "a", "a=3"), "a=3\na=2\n");
    EXPECT_EQ(ReplaceLine("a=1\n", "d", "d=4"), "a=1\nd=4\n");
    EXPECT_EQ(ReplaceLine("", "d", "d=4"), "d=4\n");
    EXPECT_EQ(ReplaceLine("a=1", "d", "d=4"), "a=1\nd=4\n");
}

}  // namespace
}  // namespace vantry
