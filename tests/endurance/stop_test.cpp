// The hub stops with clients on every link, some of them in the middle of something, and leaves
// nothing behind.

#include <gtest/gtest.h>
#include <signal.h>

#include "support/messages.h"
#include "support/rounds.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

TEST(Endurance, AHubWithClientsOnAllLinksStopsAndLeavesNothing) {
    const TemporaryDirectory directory;
    const int rounds = Rounds(2);
    for (int round = 0; round < rounds; ++round) {
        VantrydProcess hub(directory.Path());
        std::vector<FrameClient> clients;
        for (const char* link : {"UMF1", "BTD0", "PRN1"}) {
            clients.push_back(hub.Device(link));
            clients.push_back(hub.Tcp());
        }
        for (FrameClient& client : clients) {
            EXPECT_TRUE(client.Ask(kSubscribeAll));
        }
        clients[1].SendBytes(FrameOf(kGetAll).substr(0, 25));
        const std::filesystem::path marker = hub.root / "DriverUnloadSuccessful";
        std::filesystem::remove(marker);
        // The signals behind the first one change nothing.
        for (const int signal : {SIGTERM, SIGINT, SIGTERM}) {
            hub.Signal(signal);
        }
        EXPECT_EQ(hub.Wait(), 0);
        EXPECT_EQ(ReadFile(marker), std::string("\0\1\2\3", 4)) << "round " << round;
        EXPECT_TRUE(std::filesystem::is_empty(hub.devices));
        for (FrameClient& client : clients) {
            EXPECT_TRUE(client.SeesEnd());
        }
    }
}

}  // namespace
}  // namespace vantry
