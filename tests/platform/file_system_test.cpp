#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/posix_file_system.h"
#include "platform/wide_text.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

TEST(FileSystem, NoNameLeadsOutOfTheRoot) {
    const PosixFileSystem files("/root/dir");
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

TEST(FileSystem, OnlyAMissingFileCountsAsMissing) {
    const test::TemporaryDirectory directory;
    PosixFileSystem files(directory.Path());
    std::string content;
    EXPECT_TRUE(files.ReadAll(u"/none", content).IsMissing());
    EXPECT_TRUE(files.Exists(u"/none").IsMissing());
    std::filesystem::create_directory(directory.Path() / "d");
    std::filesystem::create_symlink("loop", directory.Path() / "loop");
    // A file that is too long for the memory, but takes nothing on the disk.
    test::WriteFile(directory.Path() / "long", "");
    std::filesystem::resize_file(directory.Path() / "long", (64U << 20U) + 1);
    for (const char16_t* name : {u"/d", u"/loop", u"/long"}) {
        const FileResult refused = files.ReadAll(name, content);
        EXPECT_FALSE(refused);
        EXPECT_FALSE(refused.IsMissing());
    }
    EXPECT_FALSE(files.CanWrite(u"/none/f"));
    EXPECT_TRUE(files.CanWrite(u"/f"));
    EXPECT_TRUE(std::filesystem::exists(directory.Path() / "d"));
}

TEST(FileSystem, AReplacedFileIsTheNewOneWhateverWasLeftBesideIt) {
    const test::TemporaryDirectory directory;
    PosixFileSystem files(directory.Path());
    test::WriteFile(directory.Path() / "a", "old");
    test::WriteFile(directory.Path() / "a.new", "left by a kill");
    EXPECT_FALSE(files.Copy(u"/missing", u"/a"));
    EXPECT_EQ(test::ReadFile(directory.Path() / "a"), "old");
    EXPECT_TRUE(files.Replace(u"/a", "new"));
    EXPECT_EQ(test::ReadFile(directory.Path() / "a"), "new");
    EXPECT_TRUE(files.Copy(u"/a", u"/b"));
    // A link stays, and what it leads to is replaced or made.
    std::filesystem::create_directory(directory.Path() / "elsewhere");
    for (const char* target : {"elsewhere/kept", "link"}) {
        std::filesystem::create_symlink(target,
                                        directory.Path() / (target[0] == 'l' ? "c" : "link"));
    }
    for (const char* content : {"made", "replaced"}) {
        EXPECT_TRUE(files.Replace(u"/c", content));
        EXPECT_TRUE(std::filesystem::is_symlink(directory.Path() / "c"));
        EXPECT_EQ(test::ReadFile(directory.Path() / "elsewhere/kept"), content);
    }
    // A named pipe stands for all that isn't a file, such as a device.
    ASSERT_EQ(mkfifo((directory.Path() / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(files.Replace(u"/pipe", "content"));
    EXPECT_TRUE(std::filesystem::is_fifo(directory.Path() / "pipe"));
    EXPECT_EQ(test::ReadFile(directory.Path() / "b"), "new");
    EXPECT_TRUE(files.Delete(u"/b"));
    EXPECT_TRUE(files.Exists(u"/b").IsMissing());
    EXPECT_FALSE(std::filesystem::exists(directory.Path() / "a.new"));
}

TEST(WideText, NarrowsToTheLowByteAndEncodesAsUtf8) {
    EXPECT_EQ(NarrowText(u"a\u0141"), "aA");
    EXPECT_EQ(Utf8Text(u"\u00e9\u20ac\U0001F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

}  // namespace
}  // namespace vantry
