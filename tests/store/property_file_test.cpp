#include "store/property_file.h"

#include <gtest/gtest.h>

#include "store/format/check_value.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

using test::ReadFile;
using test::WriteFile;

constexpr char kExample[] =
    "99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC|"
    "General:UsbPrnTxTimeout=35000\n";

class PropertyFile : public testing::Test {
protected:
    void Write(const std::string& text) { ASSERT_TRUE(WritePropertyText(path, text)); }

    test::TemporaryDirectory directory;
    std::filesystem::path path = directory.Path() / "f";
    StoredLines lines;
};

TEST(CheckValue, IsTheOneOfOtherTools) {
    EXPECT_EQ(CheckValue("abc"), 0x68C7);
    EXPECT_EQ(CheckValue("123456789"), 0x44C2);
    EXPECT_EQ(CheckValue(""), 0xFFFF);
}

TEST_F(PropertyFile, TheExampleComesOutByteForByte) {
    Write(kExample);
    EXPECT_EQ(ReadFile(path), std::string(kExample) + "\x93\xAD");
    ASSERT_TRUE(ReadPropertyFile(path, lines));
    ASSERT_EQ(lines.size(), 1U);
    const auto& [key, line] = *lines.begin();
    EXPECT_EQ(key, "99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC");
    EXPECT_EQ(line.prefix, key + "|General:UsbPrnTxTimeout");
    EXPECT_EQ(line.value, "35000");
}

TEST_F(PropertyFile, LinesAreSplitByPosition) {
    Write("k|p:n=a=b|c\nk2|=\nk|p:n=later\n");
    ASSERT_TRUE(ReadPropertyFile(path, lines));
    EXPECT_EQ(lines["k"].value, "later");
    EXPECT_EQ(lines["k2"].prefix, "k2|");
    Write("k|p:n=a=b|c\n");
    lines.clear();
    ASSERT_TRUE(ReadPropertyFile(path, lines));
    EXPECT_EQ(lines["k"].value, "a=b|c");
}

TEST_F(PropertyFile, ABadLineSpoilsTheFileAndNotItsGoodLines) {
    for (const char* bad : {"", "no pipe=1", "|p=1", "k2|no equals", "=|"}) {
        lines.clear();
        Write("a|x=1\n" + std::string(bad) + "\nb|x=2\n");
        EXPECT_FALSE(ReadPropertyFile(path, lines)) << bad;
        EXPECT_EQ(lines.size(), 2U) << bad;
    }
    lines.clear();
    Write("a|x=1\nb|x=unfinished");
    EXPECT_TRUE(ReadPropertyFile(path, lines));
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(PropertyFile, EveryFlippedByteAndEveryMissingEndIsSeen) {
    const std::string text = std::string(kExample) + "k|x=1\n";
    Write(text);
    const std::string whole = ReadFile(path);
    for (std::size_t place = 0; place < whole.size(); ++place) {
        std::string damaged = whole;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x20);
        WriteFile(path, damaged);
        EXPECT_FALSE(ReadPropertyFile(path, lines)) << place;
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile(path, whole.substr(0, length));
        EXPECT_FALSE(ReadPropertyFile(path, lines)) << length;
    }
    WriteFile(path, "\xFF\xFF");
    EXPECT_FALSE(ReadPropertyFile(path, lines));
    EXPECT_TRUE(lines.empty());
}

TEST_F(PropertyFile, ALineIsReplacedWhereItStandsAndANewOneGoesToTheEnd) {
    EXPECT_EQ(ReplaceLine("a=1\nb=2\nc=3\n", "b", "b=new"), "a=1\nb=new\nc=3\n");
    EXPECT_EQ(ReplaceLine("a=1\na=2\n", "a", "a=3"), "a=3\na=2\n");
    EXPECT_EQ(ReplaceLine("a=1\n", "d", "d=4"), "a=1\nd=4\n");
    EXPECT_EQ(ReplaceLine("", "d", "d=4"), "d=4\n");
    EXPECT_EQ(ReplaceLine("a=1", "d", "d=4"), "a=1\nd=4\n");
}

}  // namespace
}  // namespace vantry
