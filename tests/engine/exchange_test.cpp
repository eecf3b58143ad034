// Reads, writes and reports, seen by peers that are connected by pipes.

#include <gtest/gtest.h>

#include "support/eventually.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

const Address kSpeed{"COMPONENT", "GROUP", "SPEED"};
const Address kHeat{"COMPONENT", "GROUP", "HEAT"};
const Address kOther{"OTHER", "GROUP", "SPEED"};

class Exchange : public testing::Test {
protected:
    /// Returns a component that has announced these properties.
    std::unique_ptr<TestPeer> Announce(const std::vector<Address>& properties) {
        std::unique_ptr<TestPeer> component = hub.Connect();
        for (const Address& property : properties) {
            component->Send(Report(property, "1"));
        }
        // The answer shows that everything sent before was processed.
        EXPECT_TRUE(component->Ask(Get(PublishingPeriod())));
        return component;
    }
    std::string Value(TestPeer& peer, const Address& property) {
        const std::string answer = peer.Ask(Get(property)).value_or("");
        const std::size_t start = answer.find("\"Value\": \"") + 10;
        return answer.substr(start, answer.find('"', start) - start);
    }

    TestHub hub;
};

TEST_F(Exchange, TheSetValueIsReadInTheSameMessage) {
    const auto peer = hub.Connect();
    const std::string set = Set(PublishingPeriod(), "750");
    const std::string get = Get(PublishingPeriod());
    const std::string both = set.substr(0, set.size() - 1) + "," + get.substr(1);
    EXPECT_NE(peer->Ask(both)->find(R"("Value": "750")"), std::string::npos);
    // A value that isn't a number changes nothing and has no answer.
    peer->Send(Set(PublishingPeriod(), "fast"));
    EXPECT_EQ(Value(*peer, PublishingPeriod()), "750");
}

TEST_F(Exchange, AReadIsAnsweredEntryByEntryInOrder) {
    const auto component = Announce({kSpeed});
    const Address wildcard{"ANY", "GROUP", ""};
    const Address nothing{"ANY", "NO GROUP", ""};
    const std::string answer = *component->Ask(Section(
        "PropertyGetRequests", {nothing.Entry(), wildcard.Entry(), PublishingPeriod().Entry()}));
    EXPECT_EQ(answer.find(R"("GUID": "NO GROUP:")"), answer.find("\"GUID\""));
    EXPECT_LT(answer.find("Property Not Found"), answer.find("COMPONENT"));
    EXPECT_LT(answer.find("COMPONENT"), answer.find("Property Publishing Period in ms"));
    EXPECT_EQ(Count(answer, "\"Status\""), 3U);
    EXPECT_EQ(component->Ask(R"({"PropertyGetRequests": []})"), R"({"PropertyGetResponses": []})");
}

TEST_F(Exchange, AWildcardListsTheHubsOwnMembersFirst) {
    const auto component = Announce({{"COMPONENT", std::string(Groups::kGeneral.guid), "MINE"}});
    const std::string answer = *component->Ask(Get({"", std::string(Groups::kGeneral.guid), ""}));
    EXPECT_LT(answer.rfind("Vantry"), answer.find("COMPONENT"));
}

TEST_F(Exchange, APropertyIsKnownByItsComponentToo) {
    const auto component = Announce({kSpeed, kOther});
    EXPECT_EQ(Count(*component->Ask(kGetAll), "\"GROUP:SPEED\""), 2U);
    EXPECT_EQ(Value(*component, {"", "GROUP", "SPEED"}), "Invalid Value");
    const Address period = PublishingPeriod();
    EXPECT_EQ(Value(*component, {"", period.groupGuid, period.guid}), "Invalid Value");
    EXPECT_EQ(Value(*component, kOther), "1");
}

TEST_F(Exchange, AllPropertiesComeWithTheirMarkAndTheListIsIgnored) {
    const auto component = Announce({kSpeed});
    const std::string answer =
        *component->Ask(R"({"GetAllProperties": false,"PropertyGetRequests": [{"GUID": "a:b"}]})");
    EXPECT_TRUE(
        answer.starts_with(R"({"GetAllPropertiesResponse": true,"PropertyGetResponses": [)"));
    EXPECT_EQ(Count(answer, "Property Not Found"), 0U);
    EXPECT_EQ(Count(answer, "\"COMPONENT\""), 1U);
}

TEST_F(Exchange, AWriteGoesToItsOwnerAndTheHubsCopyWaits) {
    const auto component = Announce({kSpeed});
    const auto client = hub.Connect();
    client->Send(Set(kSpeed, "7"));
    EXPECT_EQ(
        component->Receive(),
        R"({"PropertySetRequests": [{"Component": "COMPONENT","GUID": "GROUP:SPEED","Value": "7"}]})");
    EXPECT_EQ(Value(*client, kSpeed), "1");
    component->Send(Report(kSpeed, "7"));
    EXPECT_TRUE(Eventually([&] { return Value(*client, kSpeed) == "7"; }));
}

TEST_F(Exchange, EachOwnerGetsOneMessageForAllItsWrites) {
    const auto one = Announce({kSpeed, kHeat});
    const auto two = Announce({kOther});
    const auto client = hub.Connect();
    const auto write = [](const Address& what) { return what.Entry(R"(,"Value": "2")"); };
    client->Send(Section("PropertySetRequests", {write(kSpeed), write(kOther), write(kHeat),
                                                 write({"NO", "SUCH", "ONE"})}));
    const std::string first = *one->Receive();
    EXPECT_LT(first.find("SPEED"), first.find("HEAT"));
    EXPECT_EQ(Count(*two->Receive(), "GUID"), 1U);
    EXPECT_TRUE(one->HearsNothingFor(100) && two->HearsNothingFor(0));
}

TEST_F(Exchange, AWithdrawnPropertyIsGoneAndMayComeBack) {
    const auto component = Announce({kSpeed});
    component->Send(Report(kSpeed, "1", "Property No Longer Available"));
    EXPECT_EQ(Value(*component, kSpeed), "Invalid Value");
    component->Send(Report(kSpeed, "1", "Property No Longer Available"));
    component->Send(Report(kSpeed, "1", "Property Not Found"));
    EXPECT_EQ(Value(*component, kSpeed), "Invalid Value");
    component->Send(Report(kSpeed, "3"));
    EXPECT_EQ(Value(*component, kSpeed), "3");
}

TEST_F(Exchange, APropertyOutlivesItsOwnersConnectionAndKeepsItAsOwner) {
    auto component = Announce({kSpeed});
    component.reset();
    const auto again = Announce({});
    again->Send(Report(kSpeed, "5"));
    EXPECT_EQ(Value(*again, kSpeed), "5");
    again->Send(Set(kSpeed, "6"));
    EXPECT_EQ(Value(*again, kSpeed), "5");
    again->Send(Report(kSpeed, "5", "Property No Longer Available"));
    again->Send(Report(kSpeed, "5"));
    again->Send(Set(kSpeed, "6"));
    EXPECT_TRUE(again->ReceiveUntil("PropertySetRequests"));
}

TEST_F(Exchange, ReportsUnderTheHubsOwnNameStandBesideItsProperties) {
    const auto loopback = Announce({PublishingPeriod()});
    EXPECT_EQ(Value(*loopback, PublishingPeriod()), "250");
    EXPECT_EQ(Count(*loopback->Ask(kGetAll), PublishingPeriod().guid), 2U);
}

TEST_F(Exchange, AnExternalPeerReadsItsGroupsAndWritesNothing) {
    const Address job{"COMPONENT", "A Job group", "P"};
    const auto component = Announce({kSpeed, job});
    const auto outside = hub.Connect(true);
    const std::string set = Set(PublishingPeriod(), "999");
    const std::string reads =
        Section("PropertyGetRequests", {PublishingPeriod().Entry(), kHeat.Entry(), job.Entry()});
    const std::string answer = *outside->Ask(set.substr(0, set.size() - 1) + "," + reads.substr(1));
    // Missing properties are answered in their place, hidden ones after all others.
    EXPECT_LT(answer.find("HEAT"), answer.find("A Job group"));
    EXPECT_LT(answer.find("A Job group"), answer.find(PublishingPeriod().guid));
    EXPECT_EQ(Count(answer, "\"Status\""), 3U);
    EXPECT_EQ(Count(answer, "Property Not Found"), 2U);
    EXPECT_EQ(Value(*component, PublishingPeriod()), "250");
    const std::string all = *outside->Ask(kGetAll);
    EXPECT_EQ(Count(all, "\"Status\""), Count(all, "Successful"));
    EXPECT_EQ(Count(all, "GROUP:SPEED") + Count(all, std::string(Groups::kGeneral.guid)), 0U);
    EXPECT_EQ(Count(all, "A Job group"), 1U);
    // An external component may own properties too.
    outside->Send(Report(kOther, "4"));
    EXPECT_TRUE(Eventually([&] { return Value(*component, kOther) == "4"; }));
}

TEST_F(Exchange, AnExternalPeerCantAddASectionToMessagesOfOthers) {
    const auto outside = hub.Connect(true);
    const auto inside = hub.Connect();
    const struct {
        const char* text;
        bool passes;
    } cases[] = {{R"(a\"}],\"PropertySetRequests\":[{\"Value\":\"1)", false},
                 {R"(end\\)", false},
                 {R"(no escape \\x)", false},
                 {R"(\\u12)", false},
                 {R"(line\nfeed)", false},
                 {R"(escaped \\\" twice \\u00e9)", true},
                 {R"(plain / \u00e9)", true}};
    int number = 0;
    for (const auto& [text, passes] : cases) {
        for (const std::string field :
             {"Component", "ComponentString", "GUID", "GroupString", "NameString", "Status"}) {
            const std::string name = "N" + std::to_string(++number);
            const std::string guid = "G:" + name + (field == "GUID" ? text : "");
            // The first of equal keys counts.
            outside->Ask(R"({"PropertyGetRequests": [],"PropertyGetResponses": [{")" + field +
                         R"(": ")" + (field == "GUID" ? guid : text) +
                         R"(","Component": "C","GUID": ")" + guid +
                         R"(","Status": "Successful"}]})");
            const std::string group = *inside->Ask(Get({"", "G", ""}));
            // A record with an unknown status announces nothing.
            EXPECT_EQ(group.find("G:" + name + "\"") != std::string::npos ||
                          group.find("G:" + name + "escaped") != std::string::npos ||
                          group.find("G:" + name + "plain") != std::string::npos,
                      passes && field != "Status")
                << field << ": " << text;
        }
    }
}

TEST(ExternalReports, WhatExternalPeersMayReportIsASetting) {
    const Address own{std::string(Components::kVantry.guid), "GROUP", "OWN"};
    const struct {
        ExternalReports setting;
        const char* speed;
        std::size_t ownReports;
        bool insideOwnsOther;
    } cases[] = {{ExternalReports::Any, R"("9")", 1, false},
                 {ExternalReports::Own, R"("1")", 0, true},
                 {ExternalReports::None, R"("1")", 0, true}};
    for (const auto& [setting, speed, ownReports, insideOwnsOther] : cases) {
        TestHub hub;
        hub.platform.platform.settings.externalReports = setting;
        const auto inside = hub.Connect();
        const auto outside = hub.Connect(true);
        // This is answered after the reports of the previous message.
        const auto report = [](TestPeer& peer, const std::vector<std::string>& entries) {
            peer.Send(Section("PropertyGetResponses", entries));
            peer.Ask(Get(kSpeed));
        };
        report(*inside, {ReportEntry(kSpeed, "1")});
        report(*outside,
               {ReportEntry(kSpeed, "1", "Property No Longer Available"), ReportEntry(kSpeed, "9"),
                ReportEntry(own, "9"), ReportEntry(kOther, "9")});
        EXPECT_NE(inside->Ask(Get(kSpeed))->find(speed), std::string::npos);
        EXPECT_EQ(Count(*inside->Ask(Get({"", "GROUP", ""})), ":OWN\""), ownReports);
        report(*inside, {ReportEntry(kOther, "9")});
        const auto client = hub.Connect();
        client->Send(Set(kOther, "7"));
        EXPECT_TRUE((insideOwnsOther ? *inside : *outside).ReceiveUntil("PropertySetRequests"));
    }
}

TEST_F(Exchange, DisconnectEndsTheSessionAndTakesTheReplyWithIt) {
    for (const bool subscribed : {false, true}) {
        const auto peer = hub.Connect();
        if (subscribed) {
            peer->Ask(Subscribe(kSpeed));
        }
        peer->Send(R"({"Disconnect": false,"PropertyGetRequests": [{"GUID": "a:b"}]})");
        EXPECT_TRUE(peer->SeesEnd());
        EXPECT_TRUE(peer->HearsNothingFor(0));
    }
}

TEST_F(Exchange, AMessageWithoutASectionIsNoOffence) {
    const auto peer = hub.Connect();
    peer->Send("{}");
    peer->Send(R"({"Unknown": [1,2]})");
    EXPECT_EQ(Value(*peer, PublishingPeriod()), "250");
}

TEST_F(Exchange, AValueComesBackAsItWasWhateverItHolds) {
    const auto component = Announce({});
    component->Send(Report(kSpeed, R"(quote \" backslash \\ tab \t \u0001 \u00e9)"));
    EXPECT_NE(component->Ask(Get(kSpeed))
                  ->find("\"Value\": \"quote \" backslash \\ tab \t \x01 \xC3\xA9\""),
              std::string::npos);
}

}  // namespace
}  // namespace vantry
