// The bounds on external connections, and the effect that one peer can have on the others.

#include <gtest/gtest.h>

#include <limits>

#include "runtime/event.h"
#include "support/eventually.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

Address Numbered(const std::string& component, std::size_t number) {
    return {component, "Job 1", std::to_string(number)};
}

std::string Reports(const std::string& component, std::size_t count) {
    return Many("PropertyGetResponses", count,
                [&](std::size_t number) { return ReportEntry(Numbered(component, number), "1"); });
}

class Bounds : public testing::Test {
protected:
    static Limits Small() {
        Limits limits;
        limits.Set(Bound::Properties, 8);
        limits.Set(Bound::AllProperties, 12);
        limits.Set(Bound::Subscriptions, 8);
        limits.Set(Bound::AllSubscriptions, 12);
        return limits;
    }
    std::size_t Known(const std::string& component) {
        return Count(*inside->Ask(Get({"", "Job 1", ""})),
                     "{\"Component\": \"" + component + "\",\"ComponentString\": \"Sim\"");
    }

    TestHub hub{Small()};
    std::unique_ptr<FrameClient> inside = hub.Connect();
};

TEST_F(Bounds, WhatIsLeftBehindGoesBeforeWhatIsInUse) {
    const auto report = [&](const std::string& component, std::size_t count) {
        std::unique_ptr<FrameClient> peer = hub.Connect(true);
        peer->Ask(Reports(component, count).insert(1, R"("PropertyGetRequests": [],)"));
        return peer;
    };
    const auto staying = report("STAYS", 5);
    const auto leaving = report("LEFT", 6);
    hub.admitted->Leave();
    const auto most = report("MOST", 7);
    EXPECT_EQ(Known("LEFT"), 0U);
    EXPECT_EQ(Known("STAYS") + Known("MOST"), 12U);
    EXPECT_TRUE(Eventually(
        [&] { return hub.platform.platform.accounting->Total(Resource::Properties) == 12; }));
    const auto last = report("LAST", 1);
    EXPECT_TRUE(most->SeesEnd());
    EXPECT_EQ(Known("MOST"), 0U);
    EXPECT_EQ(Known("STAYS") + Known("LAST"), 6U);
    EXPECT_TRUE(staying->Ask(Get(Numbered("STAYS", 0))));
}

TEST_F(Bounds, AnEntryThatAWithdrawalTookOffAListCountsNoMore) {
    const auto outside = hub.Connect(true);
    for (const char* const component : {"A", "B", "C"}) {
        inside->Send(Reports(component, 4));
        ASSERT_EQ(Known(component), 4U);
        ASSERT_TRUE(outside->Ask(Many("PropertySubscribeRequests", 4, [&](std::size_t number) {
            return Numbered(component, number).Entry();
        })));
        for (std::size_t number = 0; number < 4; ++number) {
            inside->Send(Report(Numbered(component, number), "1", "Property No Longer Available"));
        }
        ASSERT_TRUE(outside->ReceiveUntil("No Longer Available"));
        EXPECT_TRUE(Eventually(
            [&] { return hub.platform.platform.accounting->Total(Resource::Subscriptions) == 0; }));
    }
}

TEST_F(Bounds, SubscriptionsOfPeersThatHaveGoneGoFirst) {
    TestPlatform machine;
    Limits limits;
    limits.Set(Bound::AllSubscriptions, 500);
    machine.platform.SetLimits(limits);
    Accounting& accounting = *machine.platform.accounting;
    std::vector<std::shared_ptr<ConnectionAccount>> peers;
    for (const std::uint64_t entries : {100U, 250U, 100U, 100U}) {
        peers.push_back(accounting.Admit(Link::Usb, ""));
        static_cast<void>(peers.back()->Add(Resource::Subscriptions, entries));
    }
    peers[2]->Leave();
    accounting.Relieve(Resource::Subscriptions);
    EXPECT_TRUE(peers[2]->WasCut());
    EXPECT_FALSE(peers[0]->WasCut() || peers[1]->WasCut() || peers[3]->WasCut());
}

TEST_F(Bounds, ValuesThatGonePeersReportedForOthersMakeRoom) {
    Limits limits;
    limits.Set(Bound::AllPropertyText, 4'000);
    TestHub small(limits);
    const auto isTaken = [&](const char* name, std::size_t length) {
        const auto peer = small.Connect(true);
        const Address address{"C", "Job 1", name};
        const bool isAnswered = peer->Ask(Report(address, std::string(length, 'x'))
                                              .insert(1, R"("PropertyGetRequests": [],)"))
                                    .has_value();
        small.admitted->Leave();
        return isAnswered;
    };
    EXPECT_TRUE(isTaken("1", 1) && isTaken("2", 1));
    EXPECT_TRUE(isTaken("1", 900));
    EXPECT_TRUE(isTaken("2", 800));
}

TEST_F(Bounds, NobodyIsClosedForWhatOthersAnnounceAndWithdraw) {
    const Accounting& accounting = *hub.platform.platform.accounting;
    std::vector<std::unique_ptr<FrameClient>> others;
    // Each withdraws at once what it announces, which counts until its withdrawal is published.
    ASSERT_TRUE(Eventually([&] {
        const std::string component = "GOES" + std::to_string(others.size());
        others.push_back(hub.Connect(true));
        others.back()->Send(Many("PropertyGetResponses", 14, [&](std::size_t number) {
            return ReportEntry(Numbered(component, number % 7), "1",
                               number < 7 ? "Successful" : "Property No Longer Available");
        }));
        return accounting.Total(Resource::Properties) > 24;
    }));
    const auto honest = hub.Connect(true);
    EXPECT_TRUE(honest->Ask(Reports("STAYS", 2).insert(1, R"("PropertyGetRequests": [],)")));
    EXPECT_EQ(Known("STAYS"), 2U);
}

TEST_F(Bounds, ABoundMayBeAnyNumber) {
    Limits limits;
    limits.Set(Bound::AllProperties, std::uint64_t{1} << 63U);
    limits.Set(Bound::AllPropertyText, std::numeric_limits<std::uint64_t>::max());
    TestHub unbounded(limits);
    const auto peer = unbounded.Connect(true);
    peer->Send(Reports("A", 2));
    EXPECT_TRUE(peer->Ask(Reports("B", 2).insert(1, R"("PropertyGetRequests": [],)")));
}

/// A stream with one frame to read, whose writes block until it is closed.
class StuckStream final : public Stream {
public:
    explicit StuckStream(const std::string& text) : frame(FrameOf(text)) {}
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::size_t count = std::min(frame.size() - at, static_cast<std::size_t>(length));
        std::copy_n(frame.data() + at, count, buffer);
        at += count;
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t*, std::int32_t length) override {
        writing.Set();
        closed.Wait();
        return length;
    }
    void Close() override { closed.Set(); }

    Event writing{false};

private:
    const std::string frame;
    std::size_t at = 0;
    Event closed{false};
};

TEST_F(Bounds, AWriteThatTakesLongHoldsUpNobodyElse) {
    const auto stuck = std::make_shared<StuckStream>(kSubscribeAll);
    hub.sessions->AddSession(std::make_shared<PeekStream>(stuck));
    stuck->writing.Wait();
    EXPECT_TRUE(inside->Ask(Subscribe(Numbered("C", 0))));
    inside->Send(Reports("C", 1));
    EXPECT_EQ(Known("C"), 1U);
    const auto other = hub.Connect();
    other->Send(Set(Numbered("C", 0), "2"));
    EXPECT_TRUE(inside->ReceiveUntil("PropertySetRequests"));
    stuck->Close();
}

TEST_F(Bounds, TheHubShowsThatItPublishesAndHowMuch) {
    const HubStatus& status = hub.platform.platform.status;
    const std::uint64_t turns = status.publishingTurns;
    inside->Send(Reports("IN", 20));
    EXPECT_TRUE(Eventually([&] { return status.publishingTurns > turns + 1; }));
    EXPECT_TRUE(Eventually([&] { return status.properties == hub.store->Size() + 20; }));
}

}  // namespace
}  // namespace vantry
