// Subscriptions and the publication of changes.

#include <gtest/gtest.h>

#include "engine/change_queue.h"
#include "property/property_factories.h"
#include "runtime/event.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

const Address kSpeed{"COMPONENT", "GROUP", "SPEED"};

class Publishing : public testing::Test {
protected:
    void SetUp() override {
        component = hub.Connect();
        // The changes of the start are published before a test subscribes.
        const auto witness = hub.Connect();
        witness->Ask(kSubscribeAll);
        witness->ReceiveUntil("Property Publishing Period in ms");
    }
    TestHub hub;
    std::unique_ptr<FrameClient> component;
};

TEST_F(Publishing, ManyChangesOfALongValueMakeNoEndlessMessage) {
    component->Send(Report(kSpeed, "1"));
    const auto client = hub.Connect();
    client->Ask(Subscribe(kSpeed));
    client->Receive();
    component->Send(Many("PropertyGetResponses", 51, [](std::size_t number) {
        return ReportEntry(kSpeed,
                           number < 50 ? std::to_string(number) : std::string(1U << 20U, 'x'));
    }));
    EXPECT_LT(client->ReceiveUntil("xx")->size(), 34U << 20U);
}

TEST_F(Publishing, ARecordIsTheSameWhateverValuesWereBefore) {
    const auto subscriber = hub.Connect();
    component->Send(Report(kSpeed, "first"));
    subscriber->Ask(Subscribe(kSpeed));
    for (const std::string& value :
         {std::string("9"), std::string("10"), std::string(), std::string(R"(a \"quoted\" one)"),
          std::string(3'000, 'x'), std::string("1")}) {
        const std::string report = Report(kSpeed, value);
        component->Send(report);
        EXPECT_TRUE(subscriber->ReceiveUntil(ReportEntry(kSpeed, value)));
        EXPECT_EQ(component->Ask(Get(kSpeed)), report);
    }
}

TEST_F(Publishing, LocalPropertiesAreToldWhenTheyComeChangeAndGo) {
    const auto client = hub.Connect();
    const Address local{std::string(Components::kVantry.guid), "LOCAL GROUP", "LOCAL"};
    client->Ask(Subscribe(local));
    const auto property = MakeStringProperty("a", {"LOCAL", "Name", "LOCAL GROUP", "Group"});
    EXPECT_TRUE(hub.store->AddProperty(property));
    EXPECT_EQ(ValueIn(*client->Receive()), "a");
    EXPECT_EQ(property->SetText("b"), kAccepted);
    EXPECT_EQ(ValueIn(*client->Receive()), "b");
    hub.store->RemoveProperty(property, nullptr);
    EXPECT_NE(client->Receive()->find("Property No Longer Available"), std::string::npos);
}

TEST_F(Publishing, APeriodicPropertyIsToldEachPeriodWhetherItChangesOrNot) {
    const auto client = hub.Connect();
    client->Ask(Subscribe({std::string(Components::kVantry.guid), "G", "CLOCK"}));
    hub.engine->AddPeriodicProperty({"G", "CLOCK"});
    hub.store->AddProperty(MakeStringProperty("tick", {"CLOCK", "Name", "G", "Group"}));
    for (int period = 0; period < 3; ++period) {
        EXPECT_EQ(ValueIn(*client->Receive()), "tick");
    }
}

/// A property that calls a function at the first read of its value after Arm.
class Probe final : public StringProperty {
public:
    using StringProperty::StringProperty;
    void Arm(std::function<void()> action) {
        whenRead = std::move(action);
        armed = true;
        static_cast<void>(SetTextQuietly("armed"));
    }
    void GetPublishedText(std::string& text) const override {
        if (armed.exchange(false)) {
            whenRead();
        }
        GetText(text);
    }

private:
    std::function<void()> whenRead;
    mutable std::atomic<bool> armed{false};
};

TEST_F(Publishing, AChangeWhileASubscriptionIsAnsweredIsTold) {
    component->Send(Report(kSpeed, "1"));
    const auto witness = hub.Connect();
    witness->Ask(Subscribe(kSpeed));
    const auto probe =
        MakeProperty<Probe>("", PropertyIdentity{"PROBE", "Name", "LOCAL GROUP", "Group"});
    const Address address{std::string(Components::kVantry.guid), "LOCAL GROUP", "PROBE"};
    witness->Ask(Subscribe(address));
    hub.store->AddProperty(probe);
    EXPECT_TRUE(witness->ReceiveUntil("PROBE"));
    // The answer has the old speed; the change is published before the answer is complete.
    Event published(false);
    probe->Arm([&] {
        component->Send(Report(kSpeed, "2"));
        EXPECT_TRUE(witness->ReceiveUntil(R"("Value": "2")"));
        published.Set();
    });
    const auto client = hub.Connect();
    client->Send(Section("PropertySubscribeRequests", {kSpeed.Entry(), address.Entry()}));
    EXPECT_TRUE(client->ReceiveUntil(R"("Value": "2")"));
    // The client may have the change before the action has returned.
    published.Wait();
}

TEST(ChangeQueue, HoldsFourHundredNinetyNineNewestFirst) {
    ChangeQueue queue;
    EXPECT_TRUE(queue.TakeAll().empty());
    const auto first = MakeStringProperty("", {"first", "", "", ""});
    const auto old = MakeStringProperty("", {"old", "", "", ""});
    const auto lost = MakeStringProperty("", {"lost", "", "", ""});
    queue.Push(first);
    for (int count = 0; count < 498; ++count) {
        queue.Push(old);
    }
    queue.Push(lost);
    const auto taken = queue.TakeAll();
    ASSERT_EQ(taken.size(), 499U);
    EXPECT_EQ(taken.front(), old);
    EXPECT_EQ(taken.back(), first);
    queue.Push(lost);
    EXPECT_EQ(queue.TakeAll(), std::vector<std::shared_ptr<Property>>{lost});
    EXPECT_EQ(lost.use_count(), 1);
}

TEST(ChangeQueue, AnInternalChangeTakesThePlaceOfTheNewestExternalOne) {
    ChangeQueue queue;
    const auto outside = MakeStringProperty("", {"outside", "", "", ""});
    const auto inside = MakeStringProperty("", {"inside", "", "", ""});
    queue.Push(outside, ChangeOrigin::External);
    queue.Push(outside, ChangeOrigin::External);
    for (int count = 0; count < 497; ++count) {
        queue.Push(inside);
    }
    queue.Push(outside, ChangeOrigin::External);
    queue.Push(inside);
    EXPECT_EQ(outside.use_count(), 2);
    queue.Push(inside);
    queue.Push(inside);
    EXPECT_EQ(outside.use_count(), 1);
    EXPECT_EQ(inside.use_count(), 500);
}

TEST(ChangeQueue, ManyExternalChangesOfSomePropertiesHideNoneOfOthers) {
    ChangeQueue queue;
    std::vector<std::shared_ptr<Property>> properties;
    for (const char* const name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l"}) {
        properties.push_back(MakeStringProperty("", {name, "", "", ""}));
    }
    const auto& flooding = properties.front();
    for (int count = 0; count < 600; ++count) {
        queue.Push(flooding, ChangeOrigin::External);
    }
    for (int round = 0; round < 2; ++round) {
        for (const auto& changed : properties) {
            queue.Push(changed, ChangeOrigin::External);
        }
    }
    const auto inside = MakeStringProperty("", {"inside", "", "", ""});
    queue.Push(inside);
    EXPECT_EQ(flooding.use_count(), 1 + 499 - 11);
    // The first of the others has the newest place, which the internal change takes.
    EXPECT_EQ(properties[1].use_count(), 1);
    EXPECT_EQ(inside.use_count(), 2);
    for (std::size_t number = 2; number < properties.size(); ++number) {
        EXPECT_EQ(properties[number].use_count(), 2) << number;
    }
    EXPECT_EQ(queue.TakeAll().size(), 499U);
    queue.Push(flooding, ChangeOrigin::External);
    EXPECT_EQ(queue.TakeAll().size(), 1U);
}

}  // namespace
}  // namespace vantry
