#include "store/error_log.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <thread>

#include "support/messages.h"
#include "support/test_platform.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

class Log : public testing::Test {
protected:
    void Open() {
        log.emplace(store, platform.platform.files, reaper, 253, u"/Store/Log.txt",
                    HubProperties::kErrorLogFileName);
    }
    std::string Text() const { return test::ReadFile(platform.Path("Store/Log.txt")); }

    test::TestPlatform platform;
    ThreadReaper reaper{253};
    PropertyStore store{platform.platform.files, reaper,
                        PropertyStoreSettings{u"/P", u"/O", 251, 253}};
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

TEST_F(Log, AFileThatCannotBeOpenedDropsEverything) {
    std::filesystem::create_directories(platform.Path("Store/Log.txt"));
    Open();
    log->Write("lost");
    EXPECT_TRUE(store.FindProperty(HubProperties::kErrorLogFileName.guid,
                                   "99A61D40-20CE-41EA-A579-EB92C6ED94C6"));
}

TEST_F(Log, ADiskThatRefusesLosesTheLineAlone) {
    std::filesystem::create_symlink("/dev/full", platform.Path("Store/Log.txt"));
    Open();
    log->Write("lost");
    log->Write("lost too");
    log.reset();
}

}  // namespace
}  // namespace vantry
