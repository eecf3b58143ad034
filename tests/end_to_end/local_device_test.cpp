// The guarantees for clients of the local device, and the bounds on each of them.

#include <gtest/gtest.h>
#include <signal.h>
#include <time.h>

#include <thread>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

class LocalDevice : public testing::Test {
protected:
    TemporaryDirectory directory;
};

/// Returns the processor time of the process, in hundredths of a second.
long ProcessorTime(const VantrydProcess& hub) {
    clockid_t clock = 0;
    timespec used{};
    EXPECT_EQ(clock_getcpuclockid(hub.Id(), &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &used), 0);
    return used.tv_sec * 100 + used.tv_nsec / 10'000'000;
}

TEST_F(LocalDevice, OneThatReadsNothingIsClosedAndTold) {
    const std::filesystem::path limits = directory.Path() / "limits";
    WriteFile(limits, "local-output = 1000000");
    VantrydProcess hub(directory.Path(), {"--limits", limits.string()});
    FrameClient component = hub.Device("PRN1");
    FrameClient client = hub.Device("PRN1");
    for (int count = 0; count < 400; ++count) {
        client.Send(kGetAll);
    }
    EXPECT_TRUE(Eventually([&] {
        return hub.Errors().find("vantryd: closed a client of PRN1: the limit 'local-output'") !=
               std::string::npos;
    }));
    EXPECT_TRUE(client.SeesEnd());
    EXPECT_TRUE(component.Ask(kGetAll));
}

TEST_F(LocalDevice, ADroppedClientWithOutputLeftCostsNothing) {
    VantrydProcess hub(directory.Path());
    FrameClient idle = hub.Device("PRN1");
    ASSERT_TRUE(idle.Ask(kGetAll));
    std::vector<FrameClient> clients;
    for (int count = 0; count < 5; ++count) {
        clients.push_back(hub.Device("PRN1"));
        clients.back().Send(ManyReads(10'000));
        clients.back().Send(R"({"Disconnect": true})");
        clients.back().SendBytes(std::string(100'000, 'x'));
    }
    // The answers are complete when a later request has been answered.
    ASSERT_TRUE(idle.Ask(ManyReads(20'000)));
    EXPECT_FALSE(idle.HearsWithin(500));
    const long before = ProcessorTime(hub);
    EXPECT_FALSE(idle.HearsWithin(1000));
    EXPECT_LT(ProcessorTime(hub) - before, 30);
}

TEST_F(LocalDevice, AStopActsOnWhatWasSentAndOnNoEndlessBacklog) {
    {
        VantrydProcess hub(directory.Path());
        FrameClient client = hub.Device("PRN1");
        FrameClient endless = hub.Device("PRN1");
        std::thread flood([&] {
            // This loop ends with the hub.
            for (int count = 0; count < 1'000'000; ++count) {
                endless.Send(kGetAll);
            }
        });
        std::string frames;
        for (int count = 0; count < 2000; ++count) {
            frames += FrameOf(Get(PublishingPeriod()));
        }
        client.SendBytes(frames + FrameOf(Set(PublishingPeriod(), "3000")));
        FrameClient listening = hub.Device("PRN1");
        listening.Send(ManyReads(10'000));
        listening.ShutDownSending();
        hub.Signal(SIGTERM);
        EXPECT_EQ(hub.Wait(), 0);
        EXPECT_TRUE(client.SeesEnd());
        endless.ShutDownSending();
        flood.join();
    }
    VantrydProcess hub(directory.Path());
    FrameClient client = hub.Device("PRN1");
    EXPECT_EQ(ValueIn(*client.Ask(Get(PublishingPeriod()))), "3000");
}

}  // namespace
}  // namespace vantry
