// Subscriptions and the publication of changes.

#include <gtest/gtest.h>

#include "property/property_factories.h"
#include "runtime/event.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

const Address kSpeed{"COMPONENT", "GROUP", "SPEED"};
const Address kHeat{"COMPONENT", "GROUP", "HEAT"};

/// Longer than two periods of a TestHub.
constexpr int kSilenceMilliseconds = 700;

class Publishing : public testing::Test {
protected:
    void SetUp() override {
        component = hub.Connect();
        // The changes of the start are published before a test subscribes.
        const auto witness = hub.Connect();
        witness->Ask(kSubscribeAll);
        witness->ReceiveUntil("Property Publishing Period in ms");
    }
    std::string ValueIn(const std::string& message) {
        const std::size_t start = message.find("\"Value\": \"") + 10;
        return message.substr(start, message.find('"', start) - start);
    }

    TestHub hub;
    std::unique_ptr<TestPeer> component;
};

TEST_F(Publishing, ASubscriberHearsWhatItSubscribedToAndNothingElse) {
    const auto client = hub.Connect();
    EXPECT_NE(client->Ask(Subscribe(kSpeed))->find("Property Not Found"), std::string::npos);
    component->Send(Report(kSpeed, "1"));
    component->Send(Report(kHeat, "1"));
    const std::string first = *client->Receive();
    EXPECT_EQ(first,
              R"({"PropertyGetResponses": [{"Component": "COMPONENT","ComponentString": "Sim",)"
              R"("GUID": "GROUP:SPEED","GroupString": "Sim Group","NameString": "Sim Name",)"
              R"("Status": "Successful","Value": "1"}]})");
    component->Send(Report(kSpeed, "1"));
    component->Send(Report(kHeat, "2"));
    EXPECT_TRUE(client->HearsNothingFor(kSilenceMilliseconds));
    component->Send(Report(kSpeed, "2"));
    EXPECT_EQ(ValueIn(*client->Receive()), "2");
}

TEST_F(Publishing, ChangesOfAPeriodComeInOneMessageNewestFirstWithTheLatestValue) {
    component->Send(Report(kSpeed, "1"));
    component->Send(Report(kHeat, "1"));
    const auto client = hub.Connect();
    client->Ask(Section("PropertySubscribeRequests", {kSpeed.Entry(), kHeat.Entry()}));
    client->Receive();
    component->Send(
        Section("PropertyGetResponses",
                {ReportEntry(kSpeed, "2"), ReportEntry(kHeat, "3"), ReportEntry(kHeat, "4")}));
    const std::string message = *client->Receive();
    EXPECT_EQ(Count(message, "\"Value\": \"4\""), 2U);
    EXPECT_LT(message.find("HEAT"), message.find("SPEED"));
}

TEST_F(Publishing, ManyChangesOfALongValueMakeNoEndlessMessage) {
    component->Send(Report(kSpeed, "1"));
    const auto client = hub.Connect();
    client->Ask(Subscribe(kSpeed));
    client->Receive();
    std::vector<std::string> changes;
    for (int change = 0; change < 50; ++change) {
        changes.push_back(ReportEntry(kSpeed, std::to_string(change)));
    }
    changes.push_back(ReportEntry(kSpeed, std::string(1U << 20U, 'x')));
    component->Send(Section("PropertyGetResponses", changes));
    EXPECT_LT(client->ReceiveUntil("xx")->size(), 34U << 20U);
}

TEST_F(Publishing, TheLastChangeOfAPropertyStandsBeforeItsWithdrawal) {
    component->Send(Report(kSpeed, "1"));
    const auto client = hub.Connect();
    client->Ask(Subscribe(kSpeed));
    client->Receive();
    component->Send(Report(kSpeed, "9", "Property No Longer Available"));
    const std::string message = *client->Receive();
    EXPECT_EQ(Count(message, "\"Value\": \"9\""), 2U);
    EXPECT_LT(message.find("Successful"), message.find("Property No Longer Available"));
    // The withdrawal has emptied its list, so it gets everything from now on.
    component->Send(Report(kHeat, "1"));
    EXPECT_TRUE(client->ReceiveUntil("HEAT"));
}

TEST_F(Publishing, ASubscriberOfEverythingNarrowsToAListAndNeverBack) {
    const auto client = hub.Connect();
    EXPECT_NE(client->Ask(kSubscribeAll)->find("GetAllPropertiesResponse"), std::string::npos);
    component->Send(Report(kHeat, "1"));
    EXPECT_TRUE(client->ReceiveUntil("HEAT"));
    client->Ask(Subscribe(kSpeed));
    EXPECT_NE(client->Ask(kSubscribeAll)->find("HEAT"), std::string::npos);
    component->Send(Report(kHeat, "2"));
    EXPECT_TRUE(client->HearsNothingFor(kSilenceMilliseconds));
    component->Send(Report(kSpeed, "1"));
    EXPECT_EQ(Count(*client->Receive(), "\"GUID\""), 1U);
}

TEST_F(Publishing, AllInTheReplyAndAListInOneMessageSubscribesToTheList) {
    const auto client = hub.Connect();
    const std::string list = Subscribe(kSpeed);
    const std::string reply = *client->Ask(R"({"GetAllProperties": true,)" + list.substr(1));
    EXPECT_NE(reply.find("GetAllPropertiesResponse"), std::string::npos);
    component->Send(Report(kHeat, "1"));
    component->Send(Report(kSpeed, "1"));
    EXPECT_EQ(Count(*client->Receive(), "\"GUID\""), 1U);
}

TEST_F(Publishing, AnEntryThatIsListedTwiceIsSentOnce) {
    const auto client = hub.Connect();
    client->Ask(Section("PropertySubscribeRequests", {kSpeed.Entry(), kSpeed.Entry()}));
    component->Send(Report(kSpeed, "1"));
    EXPECT_EQ(Count(*client->Receive(), "\"GUID\""), 1U);
}

TEST_F(Publishing, AGroupWildcardHearsNoLaterChange) {
    component->Send(Report(kSpeed, "1"));
    const auto client = hub.Connect();
    client->Ask(Subscribe({"COMPONENT", "GROUP", ""}));
    component->Send(Report(kSpeed, "2"));
    EXPECT_TRUE(client->HearsNothingFor(kSilenceMilliseconds));
}

TEST_F(Publishing, AComponentHearsItsOwnChangeAndTheHubsProperties) {
    component->Ask(Subscribe(kSpeed));
    component->Send(Report(kSpeed, "1"));
    EXPECT_EQ(ValueIn(*component->Receive()), "1");
    component->Ask(Subscribe(PublishingPeriod()));
    component->Send(Set(PublishingPeriod(), "251"));
    EXPECT_EQ(ValueIn(*component->Receive()), "251");
}

TEST_F(Publishing, AnExternalSubscriberOfEverythingHearsItsGroupsAndEveryWithdrawal) {
    const Address job{"COMPONENT", "Job 7", "STATE"};
    component->Send(Report(kSpeed, "1"));
    const auto outside = hub.Connect(true);
    outside->Ask(kSubscribeAll);
    component->Send(Report(kSpeed, "2"));
    EXPECT_TRUE(outside->HearsNothingFor(kSilenceMilliseconds));
    component->Send(
        Section("PropertyGetResponses", {ReportEntry(job, "1"), ReportEntry(kHeat, "1")}));
    EXPECT_EQ(Count(*outside->Receive(), "\"GUID\""), 1U);
    component->Send(Report(kSpeed, "2", "Property No Longer Available"));
    EXPECT_NE(outside->Receive()->find("Property No Longer Available"), std::string::npos);
}

TEST_F(Publishing, ASubscriberThatIsGoneCostsTheOthersNothing) {
    auto leaving = hub.Connect();
    const auto staying = hub.Connect();
    leaving->Ask(kSubscribeAll);
    staying->Ask(Subscribe(kSpeed));
    leaving.reset();
    for (const char* value : {"1", "2"}) {
        component->Send(Report(kSpeed, value));
        EXPECT_EQ(ValueIn(*staying->Receive()), value);
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

TEST_F(Publishing, AVeryLongPeriodCanBeTakenBack) {
    const auto client = hub.Connect();
    client->Ask(Subscribe(kSpeed));
    client->Send(Set(PublishingPeriod(), "-1"));
    // The new value applies from the end of the running period on, which may be now or soon.
    int value = 1;
    component->Send(Report(kSpeed, "1"));
    while (!client->HearsNothingFor(kSilenceMilliseconds)) {
        EXPECT_TRUE(client->Receive());
        component->Send(Report(kSpeed, std::to_string(++value)));
    }
    client->Send(Set(PublishingPeriod(), "250"));
    EXPECT_EQ(ValueIn(*client->Receive()), std::to_string(value));
}

TEST_F(Publishing, APeriodOfNothingStillPublishes) {
    const auto client = hub.Connect();
    client->Ask(Subscribe(kSpeed));
    client->Send(Set(PublishingPeriod(), "0"));
    for (const char* value : {"1", "2", "3"}) {
        component->Send(Report(kSpeed, value));
        EXPECT_EQ(ValueIn(*client->Receive()), value);
    }
}

}  // namespace
}  // namespace vantry
