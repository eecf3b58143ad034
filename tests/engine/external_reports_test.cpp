// What external peers may report, and what they read of everything.

#include <gtest/gtest.h>

#include "engine/report_rights.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

const Address kSpeed{"COMPONENT", "GROUP", "SPEED"};
const Address kOther{"OTHER", "GROUP", "SPEED"};

TEST(ExternalReports, AnExternalPeerCantAddASectionToMessagesOfOthers) {
    TestHub hub;
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
            const std::string name = "N" + std::to_string(++number) + ";";
            const std::string guid = "G:" + name + (field == "GUID" ? text : "");
            // The first of equal keys counts.
            outside->Ask(R"({"PropertyGetRequests": [],"PropertyGetResponses": [{")" + field +
                         R"(": ")" + (field == "GUID" ? guid : text) +
                         R"(","Component": "C","GUID": ")" + guid +
                         R"(","Status": "Successful"}]})");
            const std::string group = *inside->Ask(Get({"", "G", ""}));
            // A record with an unknown status announces nothing.
            EXPECT_EQ(group.find("G:" + name) != std::string::npos, passes && field != "Status")
                << field << ": " << text;
        }
    }
}

TEST(ExternalReports, OfEverythingAnExternalPeerReadsItsGroupsAlone) {
    TestHub hub;
    const auto outside = hub.Connect(true);
    outside->Send(Section("PropertyGetResponses",
                          {ReportEntry(kSpeed, "1"), ReportEntry({"C", "A Job group", "P"}, "1")}));
    const std::string all = *outside->Ask(kGetAll);
    EXPECT_EQ(Count(all, "GROUP:SPEED") + Count(all, std::string(Groups::kGeneral.guid)), 0U);
    EXPECT_EQ(Count(all, "A Job group"), 1U);
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
        const auto report = [](FrameClient& peer, const std::vector<std::string>& entries) {
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

TEST(IsSafeBetweenQuotes, LooksAtEveryByteOfAText) {
    for (std::size_t length = 0; length < 50; ++length) {
        const std::string good(length, 'a');
        EXPECT_TRUE(IsSafeBetweenQuotes(good)) << length;
        for (std::size_t place = 0; place < length; ++place) {
            for (const char bad : {'"', '\x1F', '\0', '\\'}) {
                std::string text = good;
                text[place] = bad;
                EXPECT_FALSE(IsSafeBetweenQuotes(text)) << length << " " << place;
            }
        }
        EXPECT_TRUE(IsSafeBetweenQuotes(good + "\\n" + good + "\x7F\xFF")) << length;
    }
}

}  // namespace
}  // namespace vantry
