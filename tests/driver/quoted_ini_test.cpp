#include "driver/quoted_ini.h"

#include <gtest/gtest.h>

#include "support/faulty_file_system.h"

namespace vantry {
namespace {

TEST(ReadQuotedIniValue, TakesWhatStandsBehindTheFirstQuote) {
    test::FaultyFileSystem files;
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
        files.Put(u"/version.ini", content);
        EXPECT_EQ(ReadQuotedIniValue(files, u"/version.ini", "Key"), value) << content;
    }
    EXPECT_EQ(ReadQuotedIniValue(files, u"/missing", "Key"), "Error");
}

}  // namespace
}  // namespace vantry
