#include "store/error_log.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <thread>

#include "support/eventually.h"
#include "support/faulty_file_system.h"
#include "support/messages.h"
#include "support/test_platform.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

class Log : public testing::Test {
protected:
    void Open() {
        log.emplace(store, platform.platform, reaper, 253, u"/Store/Log.txt",
                    HubProperties::kErrorLogFileName);
    }
    std::string Text() const { return test::ReadFile(platform.Path("Store/Log.txt")); }

    test::TestPlatform platform;
    ThreadReaper reaper{253};
    PropertyStore store{platform.platform, reaper, PropertyStoreSettings{u"/P", u"/O", 251, 253}};
    std::optional<ErrorLog> log;
};

TEST_F(Log, ALineIsItsTimeACommaTheMessageAndTwoBytesOfEnd) {
    Open();
    log->Write("message");
    log->Write("");
    log.reset();
    const std::string time = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}";
    EXPECT_TRUE(std::regex_match(Text(), std::regex(time + ",message\r\n" + time + ",\r\n")))
        << Text();
}

TEST_F(Log, LinesOfManyThreadsAndStartsAddUp) {
    for (int start = 0; start < 2; ++start) {
        Open();
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int line = 0; line < 250; ++line) {
                    log->Write("line");
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        log.reset();
    }
    EXPECT_EQ(test::Count(Text(), ",line\r\n"), 2000U);
}

TEST_F(Log, AFileThatIsRemovedOrCannotBeOpenedIsMadeAsSoonAsItCan) {
    const std::filesystem::path file = platform.Path("Store/Log.txt");
    std::filesystem::create_directories(file);
    Open();
    log->Write("lost");
    log.reset();
    std::filesystem::remove(file);
    Open();
    for (const std::string message : {"first", "second"}) {
        log->Write(message);
        ASSERT_TRUE(test::Eventually([&] { return Text().ends_with("," + message + "\r\n"); }));
        EXPECT_EQ(test::Count(Text(), "\n"), 1U) << Text();
        std::filesystem::remove(file);
    }
}

TEST_F(Log, LinesThatFindNoRoomAreCounted) {
    Limits limits;
    limits.Set(Bound::LogBytes, 100);
    platform.platform.SetLimits(limits);
    Open();
    for (const char* message : {"one", "two", "three", "four", "five"}) {
        log->Write(message);
    }
    ASSERT_TRUE(test::Eventually([&] { return Text().ends_with(",three\r\n"); }));
    log.reset();
    EXPECT_LE(Text().size(), 100U);
    Open();
    log->Write("six");
    log->Write(std::string(100, 'x'));
    log.reset();
    EXPECT_LE(Text().size(), 100U);
}

TEST_F(Log, ARefusedLineIsCountedAndLeavesNoPiece) {
    const auto disk = std::make_shared<test::FaultyFileSystem>();
    platform.platform.files = disk;
    Open();
    // Each write tests whether the file exists, reads its size, and then writes what is queued.
    disk->FailFrom(test::Fault::CutShort, 3);
    log->Write("lost");
    ASSERT_TRUE(test::Eventually([&] { return disk->HasFailed(); }));
    log->Write("kept");
    log.reset();
    const std::string text = disk->Content(u"/Store/Log.txt");
    EXPECT_EQ(test::Count(text, "lost"), 0U) << text;
    EXPECT_EQ(test::Count(text, ",1 lines were dropped\r\n"), 1U) << text;
    EXPECT_TRUE(text.ends_with(",kept\r\n")) << text;
}

}  // namespace
}  // namespace vantry
