// Attacks on a running hub by peers, by a failing disk and by limits of the system. Each test
// attacks while an honest client is connected. If a test compares an amount of memory, a build with
// sanitizers only runs the attack.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

constexpr std::size_t kLongestText = 0x400000;
const Address kSpeed{"MOTOR", "Job group", "SPEED"};
const Address kNobodys{"NO", "SUCH", "ONE"};

/// Returns a text with as many parts between `open` and `close` as fit into a message, or into a
/// quarter of one where a sanitizer makes reading slow.
std::string Filled(const std::string& open, const std::string& part, const std::string& close) {
    const std::size_t length = kIsSanitized ? kLongestText / 4 : kLongestText;
    std::string text = open + part;
    while (text.size() + 1 + part.size() + close.size() <= length) {
        text.append(",").append(part);
    }
    return text + close;
}

class Hostile : public testing::Test {
protected:
    VantrydProcess& Start(const std::vector<std::string>& options = {},
                          const std::string& limits = "", std::size_t descriptors = 0) {
        std::vector<std::string> all = options;
        if (!limits.empty()) {
            WriteFile(directory.Path() / "limits", limits);
            all.insert(all.end(), {"--limits", (directory.Path() / "limits").string()});
        }
        hub.reset();
        hub = std::make_unique<VantrydProcess>(directory.Path(), all, descriptors);
        EXPECT_TRUE(hub->ReadyLine().starts_with("ready ")) << hub->Errors();
        return *hub;
    }
    /// Verifies that a client of the local device is answered.
    bool Serves() const { return hub->Device("PRN1").Ask(Get(PublishingPeriod())).has_value(); }
    bool Told(const std::string& text) const {
        return Eventually([&] { return hub->Errors().find(text) != std::string::npos; });
    }
    /// Returns whether the queues of all connections with the hub's port are empty.
    bool HasTakenAllFromTcp() const {
        std::array<char, 8> port{};
        std::snprintf(port.data(), port.size(), ":%04X ", hub->Port());
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            if (line.find(port.data()) != std::string::npos &&
                line.find(" 00000000:00000000 ") == std::string::npos) {
                return false;
            }
        }
        return true;
    }
    std::string ValueOf(const Address& what) const {
        return ValueIn(hub->Device("PRN1").Ask(Get(what)).value_or(""));
    }
    void StopInOrder() const {
        hub->Signal(SIGTERM);
        EXPECT_EQ(hub->Wait(), 0);
    }

    TemporaryDirectory directory;
    std::unique_ptr<VantrydProcess> hub;
};

TEST_F(Hostile, AMessageCostsWhatItsLengthSays) {
    std::string fallingKeys = R"({"a":1)";
    for (int key = 9'999'999; key > 9'699'999; --key) {
        fallingKeys += ",\"" + std::to_string(key) + "\":1";
    }
    const std::string nesting = std::string(4'000, '[') + std::string(4'000, ']');
    const std::vector<std::string> texts = {
        fallingKeys + "}",
        Filled(R"({"x": [)", "{}", "]}"),
        Filled(R"({"PropertyGetRequests": [)", "{}", "]}"),
        Filled(R"({"PropertySetRequests": [)", "{}", "]}"),
        Filled(R"({"PropertyGetRequests": [)", R"({"":1})", "]}"),
        Filled(R"({"x": [)", nesting, "]}"),
        Filled("{", R"("a":"\n")", "}"),
    };
    Start();
    for (const std::string& text : texts) {
        FrameClient attacker = hub->Tcp();
        attacker.Send(text);
        EXPECT_TRUE(Serves()) << text.substr(0, 40);
        // The message is processed when the session reads again or has ended.
        attacker.Send(Get(PublishingPeriod()));
        static_cast<void>(attacker.Receive());
    }
    if (!kIsSanitized) {
        EXPECT_LT(hub->KibibytesOf("VmHWM"), 512U << 10U);
    }
}

TEST_F(Hostile, SmallMessagesDontWaitForLargeOnes) {
    Start();
    const std::string large = Filled(R"({"a": [)", "1", "]}");
    std::atomic<bool> enough{false};
    std::vector<std::thread> attackers;
    for (int count = 0; count < 8; ++count) {
        attackers.emplace_back([&] {
            FrameClient attacker = hub->Tcp();
            while (!enough) {
                attacker.Send(large);
            }
        });
    }
    FrameClient honest = hub->Device("PRN1");
    std::atomic<int> answers{0};
    std::thread asking([&] {
        while (answers < 400 && honest.Ask(Get(PublishingPeriod()))) {
            ++answers;
        }
    });
    EXPECT_TRUE(Eventually([&] { return answers == 400; })) << answers;
    enough = true;
    asking.join();
    for (std::thread& attacker : attackers) {
        attacker.join();
    }
}

TEST_F(Hostile, AFloodLeavesNoMemoryBehind) {
    Start();
    const std::string large = Filled(R"({"x": [)", "{}", "]}");
    const std::string half = large.substr(0, 500'000) + "{}]}";
    // What the allocator keeps grows with the longest text that it has seen.
    hub->Tcp().Send(large);
    std::vector<std::thread> clients;
    for (int count = 0; count < 30; ++count) {
        clients.emplace_back([&] {
            FrameClient client = hub->Tcp();
            for (int round = 0; round < 3; ++round) {
                client.Send(half);
            }
            static_cast<void>(client.Ask(Get(kNobodys)));
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_TRUE(kIsSanitized || Eventually([&] { return hub->KibibytesOf("VmRSS") < 64U << 10U; }))
        << hub->KibibytesOf("VmRSS") << " KiB";
}

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
    Start({}, "all-subscriptions = 50\n");
    const std::string subscription = FrameOf(Subscribe(kNobodys));
    const std::string notJson = FrameOf("x");
    const std::size_t threads = hub->Count("task");
    constexpr std::size_t kFew = 6;
    for (const std::string link : {"TCP", "BTD0", "UMF1"}) {
        for (int round = 0; round < 60; ++round) {
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

TEST_F(Hostile, SubscribersThatDontReadCostOneFrame) {
    Start();
    std::vector<FrameClient> subscribers;
    for (int count = 0; count < 100; ++count) {
        subscribers.push_back(hub->Tcp());
        subscribers.back().ReceiveLittle();
        subscribers.back().Send(Subscribe(kSpeed));
    }
    FrameClient reporter = hub->Tcp();
    FrameClient watching = hub->Device("PRN1");
    ASSERT_TRUE(watching.Ask(Subscribe(kSpeed)));
    for (int round = 0; round < 5; ++round) {
        reporter.Send(Report(kSpeed, std::string(3'900'000, static_cast<char>('a' + round))));
        EXPECT_TRUE(watching.Receive());
        EXPECT_TRUE(Serves());
    }
    if (!kIsSanitized) {
        EXPECT_LT(hub->KibibytesOf("VmHWM"), 200U << 10U);
    }
}

TEST_F(Hostile, AReportCostsNoMoreThanTheValueThatItLeaves) {
    Start();
    const auto address = [](const char* component, int number) {
        return Address{component, "Job", std::to_string(number)};
    };
    const std::string large(2'000'000, 'x');
    FrameClient owner = hub->Device("PRN1");
    FrameClient attacker = hub->Tcp();
    for (int number = 0; number < 150; ++number) {
        owner.Send(Report(address("MOTOR", number), "0"));
        attacker.Send(Report(address("E", number), large));
        attacker.Send(Report(address("E", number), ""));
    }
    EXPECT_TRUE(owner.Ask(Get(kNobodys)));
    // Values for properties of others stay when their reporter has gone.
    for (int number = 0; number < 150; ++number) {
        FrameClient other = hub->Tcp();
        other.Send(Report(address("MOTOR", number), large));
        other.Send(Get(kNobodys));
        static_cast<void>(other.Receive());
    }
    EXPECT_TRUE(Told("'all-property-text'"));
    EXPECT_TRUE(attacker.Ask(Get(kNobodys)));
    if (!kIsSanitized) {
        EXPECT_LT(hub->KibibytesOf("VmHWM"), 150U << 10U);
    }
}

TEST_F(Hostile, WhoExceedsABoundIsClosedAndNamed) {
    const auto report = [](std::size_t number, const char* status) {
        return ReportEntry({"E", "Job", std::to_string(number)}, "1", status);
    };
    const char* const reports = "PropertyGetResponses";
    const std::string manyReports =
        Many(reports, 300, [&](std::size_t number) { return report(number, "Successful"); });
    // What is withdrawn counts until that has been published.
    const std::string withdrawn = Many(reports, 2'000, [&](std::size_t number) {
        return report(7, number % 2 == 0 ? "Successful" : "Property No Longer Available");
    });
    const std::string manySubscriptions =
        Many("PropertySubscribeRequests", 300, [](std::size_t number) {
            return Address{"E", "Job", std::to_string(number)}.Entry();
        });
    const std::string largeReport = Report(kSpeed, std::string(200'000, 'x'));
    // A record is kept as it is sent, with each of these bytes as six.
    const std::string longWhenEscaped = Report(kSpeed, std::string(20'000, '\x01'));
    const struct {
        std::string limit;
        std::string value;
        std::string text;
    } rows[] = {
        {"properties", "200", manyReports},
        {"properties", "200", withdrawn},
        {"all-properties", "200", manyReports},
        {"property-text", "100000", largeReport},
        {"property-text", "100000", longWhenEscaped},
        {"all-property-text", "100000", largeReport},
        {"subscriptions", "200", manySubscriptions},
        {"all-subscriptions", "200", manySubscriptions},
        {"answer", "100000", ManyReads(2'000)},
        {"answers", "100000", ManyReads(2'000)},
    };
    for (const auto& [limit, value, text] : rows) {
        Start({}, limit + " = " + value + "\n");
        FrameClient attacker = hub->Tcp();
        attacker.Send(text);
        EXPECT_TRUE(attacker.SeesEnd()) << limit;
        EXPECT_TRUE(Told("'" + limit + "'")) << limit << ": " << hub->Errors();
        EXPECT_NE(hub->Errors().find("TCP 127.0.0.1:"), std::string::npos);
        EXPECT_TRUE(Serves()) << limit;
        EXPECT_TRUE(Eventually([&] {
            return hub->Device("PRN1").Ask(kGetAll)->find("Sim Group") == std::string::npos;
        })) << limit
            << ": what it reported is still there";
        // Components inside have no such bounds.
        FrameClient inside = hub->Device("PRN1");
        inside.Send(text);
        EXPECT_TRUE(inside.Ask(kGetAll)) << limit;
    }
}

TEST_F(Hostile, AnUnfinishedMessageGivesWayToOthers) {
    Start({}, "text-received = 1000000\n");
    const std::string part = FrameOf(std::string(kLongestText, ' ')).substr(0, 700'000);
    // A slow peer with a short message waits longest, and isn't closed for that.
    const std::string shortMessage = FrameOf(ManyReads(2'000));
    FrameClient slow = hub->Tcp();
    slow.SendBytes(shortMessage.substr(0, 20'000));
    EXPECT_TRUE(Eventually([&] { return HasTakenAllFromTcp(); }));
    FrameClient first = hub->Tcp();
    first.SendBytes(part);
    EXPECT_TRUE(Eventually([&] { return HasTakenAllFromTcp(); }));
    FrameClient second = hub->Tcp();
    second.SendBytes(part);
    EXPECT_TRUE(first.SeesEnd());
    EXPECT_TRUE(Told("'text-received'"));
    slow.SendBytes(shortMessage.substr(20'000));
    EXPECT_TRUE(slow.Receive());
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

TEST_F(Hostile, AFloodOfReportsLosesNoChangeOfAComponent) {
    Start();
    FrameClient owner = hub->Device("PRN1");
    FrameClient watching = hub->Device("PRN1");
    owner.Send(Report(kSpeed, "0"));
    ASSERT_TRUE(watching.Ask(Subscribe(kSpeed)));
    std::atomic<bool> enough{false};
    std::thread flooding([&] {
        FrameClient attacker = hub->Tcp();
        for (int value = 0; !enough; ++value) {
            attacker.Send(Many("PropertyGetResponses", 300, [&](std::size_t number) {
                return ReportEntry({"E", "Job", std::to_string(number)}, std::to_string(value));
            }));
        }
    });
    for (int value = 1; value <= 6; ++value) {
        owner.Send(Report(kSpeed, "v" + std::to_string(value)));
        EXPECT_TRUE(watching.ReceiveUntil("\"v" + std::to_string(value) + "\"")) << value;
    }
    enough = true;
    flooding.join();
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

TEST_F(Hostile, ALocalClientCannotFillTheMemoryOrHoldUpTheStop) {
    const std::string small = Filled(R"({"a": [)", "1", "]}").substr(0, 400'007) + "]}";
    const std::string floods[] = {std::string(1 << 20, 'x'), FrameOf(small)};
    for (const std::string& piece : floods) {
        Start();
        FrameClient client = hub->Device("PRN1");
        std::atomic<int> sent{0};
        std::thread flooding([&] {
            while (sent < 200) {
                client.SendBytes(piece);
                ++sent;
            }
        });
        EXPECT_TRUE(Serves());
        EXPECT_TRUE(Eventually([&] { return sent >= (kIsSanitized ? 30 : 100); }));
        if (!kIsSanitized) {
            EXPECT_LT(hub->KibibytesOf("VmHWM"), 100U << 10U);
        }
        hub->Signal(SIGTERM);
        EXPECT_EQ(hub->Wait(), 0);
        flooding.join();
    }
}

}  // namespace
}  // namespace vantry
