// Peers that send much, read nothing or want more than their share. If a test compares an amount of
// memory, a build with sanitizers only runs the attack.

#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

#include "attacked_hub.h"

namespace vantry {
namespace {

using namespace test;

constexpr std::size_t kLongestText = 0x400000;
const Address kSpeed{"MOTOR", "Job group", "SPEED"};

/// Returns a text with as many parts between `open` and `close` as fit into a message, or into an
/// eighth of one where a sanitizer makes reading slow.
std::string Filled(const std::string& open, const std::string& part, const std::string& close) {
    const std::size_t length = kIsSanitized ? kLongestText / 8 : kLongestText;
    std::string text = open + part;
    while (text.size() + 1 + part.size() + close.size() <= length) {
        text.append(",").append(part);
    }
    return text + close;
}

/// Returns whether the queues of all connections with the port are empty.
bool HasTakenAllFromTcp(std::uint16_t atPort) {
    std::array<char, 8> port{};
    std::snprintf(port.data(), port.size(), ":%04X ", atPort);
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        if (line.find(port.data()) != std::string::npos &&
            line.find(" 00000000:00000000 ") == std::string::npos) {
            return false;
        }
    }
    return true;
}

TEST_F(Hostile, AMessageCostsWhatItsLengthSays) {
    std::string fallingKeys = R"({"a":1)";
    for (int key = 9'999'999, count = kIsSanitized ? 40'000 : 300'000; count > 0; --key, --count) {
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
    // A sanitizer makes the texts slow, and its own memory isn't looked at.
    constexpr int kRounds = kIsSanitized ? 1 : 3;
    // What the allocator keeps grows with the longest text that it has seen.
    hub->Tcp().Send(large);
    std::vector<std::thread> clients;
    for (int count = 0; count < 30; ++count) {
        clients.emplace_back([&] {
            FrameClient client = hub->Tcp();
            for (int round = 0; round < kRounds; ++round) {
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
    // A sanitizer's own memory isn't looked at, and makes each round slow.
    constexpr int kRounds = kIsSanitized ? 40 : 150;
    FrameClient owner = hub->Device("PRN1");
    FrameClient attacker = hub->Tcp();
    for (int number = 0; number < kRounds; ++number) {
        owner.Send(Report(address("MOTOR", number), "0"));
        attacker.Send(Report(address("E", number), large));
        attacker.Send(Report(address("E", number), ""));
    }
    EXPECT_TRUE(owner.Ask(Get(kNobodys)));
    // Values for properties of others stay when their reporter has gone.
    for (int number = 0; number < kRounds; ++number) {
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

/// A line of the file of limits, and a message that exceeds the bound.
struct Excess {
    std::string limit;
    std::string value;
    std::string text;
};

std::vector<Excess> Excesses() {
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
    return {
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
}

TEST_F(Hostile, WhoExceedsABoundIsClosedAndNamed) {
    for (const auto& [limit, value, text] : Excesses()) {
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
    EXPECT_TRUE(Eventually([&] { return HasTakenAllFromTcp(hub->Port()); }));
    FrameClient first = hub->Tcp();
    first.SendBytes(part);
    EXPECT_TRUE(Eventually([&] { return HasTakenAllFromTcp(hub->Port()); }));
    FrameClient second = hub->Tcp();
    second.SendBytes(part);
    EXPECT_TRUE(first.SeesEnd());
    EXPECT_TRUE(Told("'text-received'"));
    slow.SendBytes(shortMessage.substr(20'000));
    EXPECT_TRUE(slow.Receive());
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
        EXPECT_TRUE(Eventually([&] { return sent >= (kIsSanitized ? 10 : 100); }));
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
