#include "platform/file_system.h"

#include <gtest/gtest.h>

#include "platform/wide_text.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

TEST(FileSystem, NoNameLeadsOutOfTheRoot) {
    const FileSystem files("/root/dir");
    const struct {
        std::u16string_view name;
        const char* path;
    } cases[] = {
        {u"/Store/VantryProperties.ini", "/root/dir/Store/VantryProperties.ini"},
        {u"\\windows\\version.ini", "/root/dir/windows/version.ini"},
        {u"\\DriverUnloadSuccessful", "/root/dir/DriverUnloadSuccessful"},
        {u"relative", "/root/dir/relative"},
        {u"/../../etc/passwd", "/root/dir/etc/passwd"},
        {u"\\a\\..\\..\\..\\b", "/root/dir/b"},
        {u"//a//./b/", "/root/dir/a/b"},
        {u"..", "/root/dir/"},
        {u"/Größe", "/root/dir/Größe"},
    };
    for (const auto& [name, path] : cases) {
        EXPECT_EQ(files.PathOf(name), path);
    }
}

TEST(FileSystem, ACopyReplacesItsTargetOrLeavesIt) {
    const test::TemporaryDirectory directory;
    const FileSystem files(directory.Path());
    test::WriteFile(directory.Path() / "a", "new");
    test::WriteFile(directory.Path() / "b", "old");
    EXPECT_FALSE(files.Copy(u"/missing", u"/b"));
    EXPECT_EQ(test::ReadFile(directory.Path() / "b"), "old");
    EXPECT_TRUE(files.Copy(u"/a", u"/b"));
    EXPECT_EQ(test::ReadFile(directory.Path() / "b"), "new");
    EXPECT_TRUE(files.Delete(u"/b"));
    EXPECT_FALSE(files.Exists(u"/b"));
    EXPECT_TRUE(files.Exists(u"/a"));
}

TEST(WideText, NarrowsToTheLowByteAndEncodesAsUtf8) {
    EXPECT_EQ(NarrowText(u"a\u0141"), "aA");
    EXPECT_EQ(Utf8Text(u"\u00e9\u20ac\U0001F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

}  // namespace
}  // namespace vantry
