#include "driver/quoted_ini.h"

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace vantry {
namespace {

TEST(ReadQuotedIniValue, TakesWhatStandsBehindTheFirstQuote) {
    const test::TemporaryDirectory directory;
    const auto path = directory.Path() / "version.ini";
    const struct {
        const char* content;
        const char* value;
    } cases[] = {
        {"Key=\"abc\"\n", "abc"},
        {"Key=\"abc\"\r\n", "abc"},
        {"Key = \"a b\"\n", "a b"},
        {"Key=\"abc", "abc"},
        {"Key=\"\"\n", "Error"},
        {"Key=abc\n", "Error"},
        {"Key=\"abc\"  \n", "abc\"  "},
        {"Key=\"abc\\\"\n", "abc"},
        {"MyKeyX=\"abc\"\n", "abc"},
        {"Key=\"a\"b\"\n", "a\"b"},
        {"Note Key\nKey=\"abc\"\n", "Error"},
        {"Other=\"x\"\nKey=\"abc\"", "abc"},
        {"key=\"abc\"\n", "Error"},
        {"", "Error"},
        {"=\"abc\"", "Error"},
    };
    for (const auto& [content, value] : cases) {
        test::WriteFile(path, content);
        EXPECT_EQ(ReadQuotedIniValue(path, "Key"), value) << content;
    }
    EXPECT_EQ(ReadQuotedIniValue(directory.Path() / "missing", "Key"), "Error");
    EXPECT_EQ(ReadQuotedIniValue(directory.Path(), "Key"), "Error");
}

}  // namespace
}  // namespace vantry
