#include "driver/exports.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <thread>

#include "property/property_factories.h"
#include "runtime/live_object_counters.h"
#include "support/eventually.h"
#include "support/faulty_file_system.h"
#include "support/frame_client.h"
#include "support/messages.h"
#include "support/test_platform.h"

namespace vantry {
namespace {

using namespace test;

void Write(std::uint32_t handle, const std::string& bytes) {
    EXPECT_EQ(PRN_Write(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size())),
              static_cast<std::int32_t>(bytes.size()));
}

/// Returns the text of the next frame on a handle.
std::string ReadFrame(std::uint32_t handle) {
    std::string bytes;
    std::array<char, 4096> chunk;
    std::uint32_t length = 0;
    while (bytes.size() < Frame::kHeadBytes + length || bytes.size() < Frame::kHeadBytes) {
        const std::int32_t count = PRN_Read(handle, chunk.data(), chunk.size());
        if (count <= 0) {
            return "";
        }
        bytes.append(chunk.data(), static_cast<std::size_t>(count));
        if (bytes.size() >= Frame::kHeadBytes) {
            std::memcpy(&length, bytes.data() + Frame::kMagicBytes, sizeof length);
        }
    }
    return bytes.substr(Frame::kHeadBytes);
}

class Exports : public testing::Test {
protected:
    std::string Marker() const { return ReadFile(platform.Path("DriverUnloadSuccessful")); }

    TestPlatform platform;
};

TEST_F(Exports, WithoutAHubNothingOpens) {
    EXPECT_EQ(PRN_Open(0, 0, 0), 0U);
    EXPECT_EQ(PRN_Close(1), 0U);
    char byte = 0;
    EXPECT_EQ(PRN_Read(1, &byte, 1), -1);
    EXPECT_EQ(PRN_Write(1, &byte, 1), -1);
    EXPECT_EQ(PRN_IOControl(1, 2, nullptr, 0, nullptr, 0, nullptr), 0U);
}

TEST_F(Exports, AHubServesItsHandlesAndLeavesNothingBehind) {
    EXPECT_EQ(PRN_Init(), 1U);
    const std::uint32_t first = PRN_Open(0, 0, 0);
    EXPECT_EQ(first, 1U);
    EXPECT_EQ(PRN_Open(0, 0, 0), 2U);
    Write(first, FrameOf(Get(PublishingPeriod())));
    EXPECT_NE(ReadFrame(first).find("\"Value\": \"500\""), std::string::npos);

    std::thread blocked([&] {
        char byte = 0;
        EXPECT_EQ(PRN_Read(first, &byte, 1), -1);
    });
    EXPECT_EQ(PRN_Close(first), 1U);
    blocked.join();
    EXPECT_EQ(PRN_Close(first), 0U);
    EXPECT_EQ(PRN_Open(0, 0, 0), 3U);

    // What can't be a frame ends the session, which its client sees.
    Write(2, FrameOf("[]"));
    EXPECT_EQ(ReadFrame(2), "");

    std::thread lastReader([&] { EXPECT_EQ(ReadFrame(3), ""); });
    FrameClient idle = FrameClient::ToTcp(platform.platform.tcp.boundPort);
    EXPECT_EQ(PRN_Deinit(1), 1U);
    lastReader.join();
    EXPECT_TRUE(idle.SeesEnd());
    EXPECT_TRUE(LiveObjectCounters::AllZero());
    EXPECT_EQ(Marker(), std::string("\0\1\2\3", 4));
}

TEST_F(Exports, ASurvivingPropertyKeepsTheMarkerAway) {
    PRN_Init();
    const auto survivor = MakeStringProperty("", {"a", "b", "c", "d"});
    PRN_Deinit(1);
    EXPECT_EQ(Marker(), "");
}

TEST_F(Exports, AMarkerThatTheDiskDoesNotTakeHoldsUpNoStop) {
    const auto disk = std::make_shared<FaultyFileSystem>();
    platform.platform.files = disk;
    std::string told;
    platform.platform.notices.SetSink([&](std::string_view line) { told = line; });
    PRN_Init();
    // No thread of the hub uses the disk after this line of the log.
    EXPECT_TRUE(
        Eventually([&] { return !disk->Content(u"/Store/VantryLogFileName.txt").empty(); }));
    disk->HangAll();
    PRN_Deinit(1);
    EXPECT_EQ(told, "the marker of a clean end isn't written, because the disk hangs");
    disk->Recover();
    EXPECT_TRUE(Eventually([&] { return disk->Content(u"\\DriverUnloadSuccessful").size() == 4; }));
}

TEST_F(Exports, ASecondInitReplacesTheHubWhoseTcpPortIsTakenMeanwhile) {
    PRN_Init();
    const std::uint16_t port = platform.platform.tcp.boundPort;
    platform.platform.tcp.Replace(0x7F000001, port);
    PRN_Open(0, 0, 0);
    PRN_Init();
    EXPECT_EQ(platform.platform.tcp.bindError, EADDRINUSE);
    EXPECT_EQ(PRN_Open(0, 0, 0), 1U);
    Write(1, FrameOf(kGetAll));
    EXPECT_NE(ReadFrame(1), "");
    PRN_Deinit(1);
    EXPECT_TRUE(LiveObjectCounters::AllZero());
}

TEST_F(Exports, TheVersionFilesShowInTheProductInformation) {
    WriteFile(platform.Path("windows/version.ini"),
              "OSVersion=\"8.4\"\r\nOSBuildNumber=\"6270\"\r\n");
    WriteFile(platform.Path("boot/qtcommon_version.ini"), "QtCommonVersion=\"5.6\"\n");
    PRN_Init();
    const std::uint32_t handle = PRN_Open(0, 0, 0);
    Write(handle, FrameOf(Get({"", std::string(Groups::kProductInfo.guid), ""})));
    const std::string info = ReadFrame(handle);
    EXPECT_EQ(Count(info, "\"Status\": \"Successful\""), 10U);
    EXPECT_EQ(Count(info, "\"Value\": \"Error\""), 3U);
    for (const char* part :
         {R"("NameString": "OS Version","Status": "Successful","Value": "8.4")",
          R"("NameString": "OS Build Number","Status": "Successful","Value": "6270")",
          R"("NameString": "Firmware Version","Status": "Successful","Value": "1.1.153310")",
          R"("NameString": "Qt Common Modules Version","Status": "Successful","Value": "5.6")"}) {
        EXPECT_NE(info.find(part), std::string::npos) << part;
    }
    PRN_Deinit(1);
}

TEST_F(Exports, TheLogTellsOfTheLoopbackDeviceThatCannotBeOpened) {
    PRN_Init();
    const std::string line = "DataHandlerManager encountered an empty stream or unknown format\r\n";
    EXPECT_TRUE(Eventually(
        [&] { return ReadFile(platform.Path("Store/VantryLogFileName.txt")).ends_with(line); }));
    PRN_Deinit(1);
}

}  // namespace
}  // namespace vantry
