// Peers, descriptors and hubs that come to their end: what was sent before counts, and nothing is
// held afterwards.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "attacked_hub.h"

namespace vantry {
namespace {

using namespace test;

TEST_F(Hostile, APeerThatIsGoneHoldsNoDescriptor) {
    Start();
    const std::size_t before = hub->Count("fd");
    constexpr std::size_t kEndedPeers = 128;
    for (const std::string link : {"TCP", "BTD0", "UMF1", "PRN1"}) {
        for (const bool reports : {false, true}) {
            for (const bool resets : {false, true}) {
                for (int round = 0; round < 150; ++round) {
                    FrameClient peer = hub->Connect(link);
                    if (reports) {
                        const std::string guid = link + std::to_string(round) + "r";
                        peer.Send(Report({"E", "Job", guid + (resets ? "1" : "0")}, "1"));
                        ASSERT_TRUE(peer.Ask(Get(kNobodys)));
                    } else {
                        ASSERT_TRUE(peer.Ask(Subscribe(kNobodys)));
                    }
                    resets ? peer.Reset() : peer.Close();
                }
            }
        }
    }
    EXPECT_TRUE(Eventually([&] { return hub->Count("fd") <= before + kEndedPeers + 4; }))
        << hub->Count("fd") << " descriptors, " << before << " before";
}

TEST_F(Hostile, APeerThatIsGoneHoldsNoSubscription) {
    Start({}, "all-subscriptions = 30\n");
    const std::string subscription = FrameOf(Subscribe(kNobodys));
    const std::string notJson = FrameOf("x");
    const std::size_t threads = hub->Count("task");
    constexpr std::size_t kFew = 6;
    // Each leaves two subscriptions, which on one link are more than the bound.
    constexpr int kRounds = kIsSanitized ? 20 : 60;
    for (const std::string link : {"TCP", "BTD0", "UMF1"}) {
        for (int round = 0; round < kRounds; ++round) {
            FrameClient ended = hub->Connect(link);
            ended.SendBytes(subscription + notJson);
            EXPECT_TRUE(ended.SeesEnd());
            // The hub finds that this peer is gone when it answers, and not when it reads.
            FrameClient reset = hub->Connect(link);
            reset.ReceiveLittle();
            reset.SendBytes(subscription + FrameOf(ManyReads(8'000)));
            EXPECT_TRUE(reset.HearsWithin(kPatienceMilliseconds));
            reset.Reset();
            // Until then it counts, as it should.
            EXPECT_TRUE(Eventually([&] { return hub->Count("task") <= threads + kFew; }));
        }
        FrameClient honest = hub->Connect(link);
        EXPECT_TRUE(honest.Ask(Subscribe(kNobodys)));
        EXPECT_TRUE(honest.Ask(Get(kNobodys)));
    }
    EXPECT_EQ(hub->Errors().find("'all-subscriptions'"), std::string::npos);
}

TEST_F(Hostile, ConnectionsLeaveTheLocalDeviceItsShare) {
    const struct {
        std::string link;
        std::size_t descriptors;
        std::string bound;
    } rows[] = {{"TCP", 200, "'tcp-connections'"},
                {"TCP", 40, "'tcp-connections'"},
                {"BTD0", 200, "'connections'"},
                {"BTD0", 40, "'connections'"}};
    for (const auto& [link, descriptors, bound] : rows) {
        Start({}, "", descriptors);
        std::vector<FrameClient> outside;
        for (std::size_t count = 0; count < descriptors + 20; ++count) {
            outside.push_back(hub->Connect(link));
        }
        EXPECT_TRUE(Told(bound)) << hub->Errors();
        FrameClient local = hub->Device("PRN1");
        local.Send(Set(PublishingPeriod(), "1000"));
        EXPECT_TRUE(local.Ask(Get(PublishingPeriod())));
        if (link == "TCP") {
            EXPECT_TRUE(hub->Connect("BTD0").Ask(Get(kNobodys)));
        }
        outside.clear();
        EXPECT_TRUE(Eventually([&] {
            FrameClient again = hub->Connect(link);
            again.Send(Get(kNobodys));
            return again.Receive().has_value();
        }));
        StopInOrder();
        Start();
        EXPECT_EQ(ValueOf(PublishingPeriod()), "1000");
    }
    hub.reset();
    VantrydProcess tooSmall(directory.Path(), {}, 30);
    EXPECT_EQ(tooSmall.Wait(), 1);
    EXPECT_NE(tooSmall.Errors().find("30 descriptors (ulimit -n); the hub needs 40"),
              std::string::npos);
}

TEST_F(Hostile, AReaderThatPausesGetsItsWholeAnswer) {
    Start();
    const struct {
        std::string link;
        std::size_t reads;
    } rows[] = {{"UMF1", 8'000}, {"BTD0", 8'000}, {"TCP", 8'000}, {"PRN1", 140'000}};
    for (const auto& [link, reads] : rows) {
        FrameClient reader = hub->Connect(link);
        reader.Send(ManyReads(reads));
        EXPECT_TRUE(reader.HearsWithin(kPatienceMilliseconds));
        std::this_thread::sleep_for(
            std::chrono::milliseconds(300));  // This pause is what the test needs.
        const std::string answer = reader.Receive().value_or("");
        EXPECT_EQ(Count(answer, "Property Not Found"), reads) << link;
    }
}

TEST_F(Hostile, WhatWasSentBeforeTheEndCounts) {
    Start();
    for (const std::string link : {"TCP", "BTD0", "PRN1", "UMF1"}) {
        for (int round = 0; round < 20; ++round) {
            const Address property{"E" + link, "Job", std::to_string(round)};
            FrameClient peer = hub->Connect(link);
            // The hub answers the read to a peer that has disconnected.
            peer.SendBytes(FrameOf(ManyReads(200)) + FrameOf(Report(property, "sent")));
            peer.Close();
            EXPECT_TRUE(Eventually([&] { return ValueOf(property) == "sent"; }))
                << link << " " << round;
        }
    }
    for (const std::string link : {"TCP", "BTD0", "PRN1", "UMF1"}) {
        FrameClient last = hub->Connect(link);
        // More behind the end than a socket holds must not keep the peer from reading.
        last.SendBytes(FrameOf(ManyReads(8'000)) + FrameOf(R"({"Disconnect": true})") +
                       std::string(400'000, 'x'));
        EXPECT_EQ(Count(last.Receive().value_or(""), "Property Not Found"), 8'000U) << link;
        EXPECT_TRUE(last.SeesEnd()) << link;
    }
}

TEST_F(Hostile, AStopSavesWhatClientsHaveSent) {
    const Address timeOut = HubProperty(HubProperties::kUsbPrnTxTimeout, Groups::kGeneral);
    // A stop takes 2 seconds at most for what waits, in which a slowed hub handles less.
    const int last = kIsSanitized ? 2'000 : 20'000;
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
        Start();
        std::string burst;
        for (int value = 1; value <= last; ++value) {
            burst += FrameOf(Set(timeOut, std::to_string(signal * 100'000 + value)));
        }
        FrameClient client = hub->Device("PRN1");
        client.SendBytes(burst);
        hub->Signal(signal);
        EXPECT_EQ(hub->Wait(), 0);
        Start();
        EXPECT_EQ(ValueOf(timeOut), std::to_string(signal * 100'000 + last));
        StopInOrder();
    }
}

TEST_F(Hostile, DescriptorsThatRunOutCostNoSetting) {
    const Address timeOut = HubProperty(HubProperties::kUsbPrnTxTimeout, Groups::kGeneral);
    Start();
    FrameClient client = hub->Device("PRN1");
    client.Send(Set(PublishingPeriod(), "750"));
    client.Send(Set(timeOut, "12345"));
    ASSERT_TRUE(client.Ask(Get(timeOut)));
    const std::filesystem::path file = hub->root / "Store/VantryProperties.ini";
    ASSERT_TRUE(Eventually([&] { return ReadFile(file).find("12345") != std::string::npos; }));
    // No descriptor can be opened any more.
    const rlimit none{hub->Count("fd"), hub->Count("fd")};
    rlimit before{};
    ASSERT_EQ(prlimit(hub->Id(), RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit soft{none.rlim_cur, before.rlim_max};
    ASSERT_EQ(prlimit(hub->Id(), RLIMIT_NOFILE, &soft, nullptr), 0);
    client.Send(Set(timeOut, "20000"));
    ASSERT_TRUE(client.Ask(Get(timeOut)));
    ASSERT_EQ(prlimit(hub->Id(), RLIMIT_NOFILE, &before, nullptr), 0);
    client.Send(Set(timeOut, "30000"));
    ASSERT_TRUE(client.Ask(Get(timeOut)));
    StopInOrder();
    Start();
    EXPECT_EQ(ValueOf(PublishingPeriod()), "750");
    EXPECT_EQ(ValueOf(timeOut), "30000");
}

}  // namespace
}  // namespace vantry
