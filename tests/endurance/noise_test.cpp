// Ten peers that do everything a peer must not do, beside ten honest ones that check every answer,
// every publication and every saved value. Goes on for VANTRY_ROUNDS seconds, or a few.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "mutate.h"
#include "support/eventually.h"
#include "support/messages.h"
#include "support/rounds.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

constexpr std::size_t kLongestText = 0x400000;
const Address kNobodys{"NO", "SUCH", "ONE"};
const Address kTimeOut = HubProperty(HubProperties::kUsbPrnTxTimeout, Groups::kGeneral);
const Address kFirmware = HubProperty(HubProperties::kFirmwareVersion, Groups::kProductInfo);

class Noise : public testing::Test {
protected:
    bool Goes() const { return std::chrono::steady_clock::now() < end && !HasFailure(); }

    void Attack(unsigned seed);
    void Read(const std::string& link);
    void Own(int number);
    void Save();

    const std::chrono::steady_clock::time_point end =
        std::chrono::steady_clock::now() + std::chrono::seconds(Rounds(5));
    TemporaryDirectory directory;
    VantrydProcess hub{directory.Path(), {"--external-reports", "own", "--saves", "replace"}};
    std::atomic<std::size_t> attacks{0};
    std::atomic<std::size_t> checks{0};
    std::atomic<int> lastSaved{0};
};

/// What an attacker sends: frames of each section, seeds and noise.
class Arsenal {
public:
    /// An internal peer may write, and may report as fast as the queue of changes holds; it would
    /// change what others check. So it only reads and subscribes.
    Arsenal(unsigned seed, bool isInternal)
        : random(seed), manySections(isInternal ? 2 : std::size(kSections)) {
        for (const char* folder : {"messages", "frames"}) {
            const std::filesystem::path corpus = std::filesystem::path(CORPUS_PATH) / folder;
            for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
                const std::string bytes = ReadFile(entry.path());
                if (!isInternal || (bytes.find("PropertySet") == std::string::npos &&
                                    bytes.find("Responses") == std::string::npos)) {
                    seeds.push_back(bytes);
                }
            }
        }
    }

    std::size_t Below(std::size_t limit) { return random() % limit; }

    std::string Bytes() {
        switch (Below(10)) {
            case 0:
                return std::string(Below(100'000), static_cast<char>(random()));
            case 1:
            case 2:
            case 3:
            case 4:
                return FrameOf(ManyOf(kSections[Below(manySections)]));
            case 5:
                return FrameOf(Large());
            case 6:
                return FrameOf(kGetAll) + FrameOf(kSubscribeAll);
            case 7:
                return FrameOf(std::string(kLongestText, ' ')).substr(0, Below(kLongestText));
            default:
                return Mutated(seeds[Below(seeds.size())], random);
        }
    }

private:
    static constexpr const char* kSections[] = {"PropertyGetRequests", "PropertySubscribeRequests",
                                                "PropertySetRequests", "PropertyGetResponses"};

    std::string ManyOf(const std::string& section) {
        return Many(section, Below(5'000), [&](std::size_t) {
            const Address address{Below(9) == 0 ? "OWNER" : "E", "Job " + std::to_string(Below(4)),
                                  std::to_string(Below(50'000))};
            return section == "PropertyGetResponses"
                       ? ReportEntry(address, std::to_string(random()),
                                     Below(5) == 0 ? "Property No Longer Available" : "Successful")
                       : address.Entry(R"(,"Value": "x")");
        });
    }

    std::string Large() {
        const std::string parts[] = {"{}", "[]", "1", R"({"":1})", R"("\n")", "[[[[[[]]]]]]"};
        const std::string& part = parts[Below(std::size(parts))];
        std::string text = Below(2) == 0 ? R"({"x": [)" : R"({"PropertyGetRequests": [)";
        const std::size_t length = Below(kLongestText);
        while (text.size() + part.size() + 3 < length) {
            text += part + ",";
        }
        return text + part + "]}";
    }

    std::mt19937 random;
    const std::size_t manySections;
    std::vector<std::string> seeds;
};

void Noise::Attack(unsigned seed) {
    const std::string links[] = {"TCP", "TCP", "TCP", "BTD0", "UMF1", "PRN1"};
    const std::string& link = links[seed % std::size(links)];
    Arsenal arsenal(seed, link == "PRN1");
    while (Goes()) {
        FrameClient peer = hub.Connect(link);
        peer.GiveUpSendingAfter(200);
        for (std::size_t count = arsenal.Below(6) + 1; count > 0; --count) {
            const std::string bytes = arsenal.Bytes();
            // Some stop in the middle, and some read nothing for a while.
            const bool tears = arsenal.Below(8) == 0;
            peer.SendBytes(bytes.substr(0, tears ? arsenal.Below(bytes.size() + 1) : bytes.size()));
            ++attacks;
            if (arsenal.Below(3) == 0) {
                peer.Skim();
            } else if (arsenal.Below(6) == 0) {
                static_cast<void>(peer.HearsWithin(300));
            }
        }
        const std::size_t ending = arsenal.Below(4);
        if (ending == 0) {
            peer.Reset();
        } else if (ending == 1) {
            peer.ShutDownSending();
            static_cast<void>(peer.HearsWithin(100));
        }
    }
}

/// Asks for two properties and for none, and knows every byte of the answers.
void Noise::Read(const std::string& link) {
    FrameClient peer = hub.Connect(link);
    const std::string firmware = peer.Ask(Get(kFirmware)).value_or("");
    const std::string nothing = peer.Ask(Get(kNobodys)).value_or("");
    EXPECT_NE(firmware.find("1.1.153310"), std::string::npos);
    EXPECT_NE(nothing.find("Property Not Found"), std::string::npos);
    while (Goes()) {
        EXPECT_EQ(peer.Ask(Get(kFirmware)), firmware) << link;
        EXPECT_EQ(peer.Ask(Get(kNobodys)), nothing) << link;
        ++checks;
    }
}

/// Owns a property, sets it as another client would, and hears of each change.
void Noise::Own(int number) {
    const Address property{"OWNER", "Job", std::to_string(number) + "h"};
    FrameClient owner = hub.Device("PRN1");
    FrameClient writer = hub.Device("PRN1");
    FrameClient subscriber = hub.Device("PRN1");
    owner.Send(Report(property, "0"));
    EXPECT_TRUE(owner.Ask(Get(property)));
    EXPECT_TRUE(subscriber.Ask(Subscribe(property)));
    for (int value = 1; Goes(); ++value) {
        const std::string text = "\"Value\": \"" + std::to_string(value) + "\"";
        writer.Send(Set(property, std::to_string(value)));
        const std::string forwarded = owner.Receive().value_or("");
        EXPECT_NE(forwarded.find(text), std::string::npos) << forwarded;
        owner.Send(Report(property, std::to_string(value)));
        EXPECT_NE(owner.Ask(Get(property)).value_or("").find(text), std::string::npos);
        const std::string told = subscriber.ReceiveUntil(text).value_or("");
        EXPECT_EQ(Count(told, "\"Value\""), Count(told, property.guid)) << told;
        ++checks;
    }
}

/// Sets a property that is saved, and reads it back.
void Noise::Save() {
    FrameClient peer = hub.Device("PRN1");
    for (int value = 100'000; Goes(); ++value) {
        const std::string text = std::to_string(value);
        peer.Send(Set(kTimeOut, text));
        EXPECT_NE(peer.Ask(Get(kTimeOut)).value_or("").find("\"" + text + "\""), std::string::npos);
        lastSaved = value;
        ++checks;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // A pace, not a wait.
    }
}

TEST_F(Noise, NothingIsLostBesideTenAttackers) {
    ASSERT_TRUE(hub.ReadyLine().starts_with("ready "));
    const std::size_t descriptors = hub.Count("fd");
    const std::size_t threads = hub.Count("task");
    std::vector<std::function<void()>> roles;
    for (const char* link : {"TCP", "TCP", "BTD0", "PRN1", "PRN1"}) {
        roles.emplace_back([this, link] { Read(link); });
    }
    for (int number = 0; number < 4; ++number) {
        roles.emplace_back([this, number] { Own(number); });
    }
    roles.emplace_back([this] { Save(); });
    const unsigned seed = std::random_device{}();
    for (unsigned number = 0; number < 10; ++number) {
        roles.emplace_back([this, seed, number] { Attack(seed - seed % 60 + number); });
    }
    std::vector<std::thread> peers;
    for (const auto& role : roles) {
        peers.emplace_back(role);
    }
    for (std::thread& peer : peers) {
        peer.join();
    }
    constexpr std::size_t kEndedPeers = 128;
    constexpr std::size_t kSettling = 6;
    // What attackers have sent before they closed is still worked on, which may take a while.
    std::size_t left = hub.Count("task");
    while (left > threads + kSettling && Eventually([&] { return hub.Count("task") < left; })) {
        left = hub.Count("task");
    }
    EXPECT_LE(left, threads + kSettling) << threads << " threads before";
    EXPECT_TRUE(Eventually([&] { return hub.Count("fd") <= descriptors + kEndedPeers; }))
        << hub.Count("fd") << " descriptors, " << descriptors << " before";
    std::printf("seed %u: %zu attacks, %zu checks, %zu MiB at the end, %zu MiB at most\n", seed,
                attacks.load(), checks.load(), hub.KibibytesOf("VmRSS") >> 10U,
                hub.KibibytesOf("VmHWM") >> 10U);
    hub.Signal(SIGTERM);
    EXPECT_EQ(hub.Wait(), 0);
    EXPECT_TRUE(std::filesystem::exists(hub.root / "DriverUnloadSuccessful"));
    EXPECT_NE(ReadFile(hub.root / "Store/VantryProperties.ini")
                  .find("=" + std::to_string(lastSaved) + "\n"),
              std::string::npos);
}

}  // namespace
}  // namespace vantry
