// A hub that is killed at any moment comes up again with values that somebody has set.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>

#include "support/messages.h"
#include "support/rounds.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

const std::vector<Address> kProperties = {
    PublishingPeriod(), HubProperty(HubProperties::kUsbPrnTxTimeout, Groups::kGeneral),
    HubProperty(HubProperties::kNameOfPropertyFile, Groups::kGeneral)};

std::string ValueOf(FrameClient& client, const Address& property) {
    const std::string answer = client.Ask(Get(property)).value_or("");
    const std::size_t start = answer.find("\"Value\": \"") + 10;
    return answer.substr(start, answer.find('"', start) - start);
}

/// The number that a round has set; 0 for the default of the property, which is none of them.
unsigned long NumberOf(const std::string& text) {
    if (text == "500" || text == "35000" || text == "/Store/VantryProperties.ini") {
        return 0;
    }
    EXPECT_TRUE(text.size() >= 6 && text.find_first_not_of("0123456789") == std::string::npos)
        << text;
    return std::stoul(text);
}

TEST(Endurance, AKilledHubComesUpWithValuesThatWereSaved) {
    const TemporaryDirectory directory;
    std::mt19937 random(std::random_device{}());
    // Each round sets larger numbers, so a value that was saved lies between that of the last good
    // load and the last one that was sent.
    std::vector<unsigned long> loaded(kProperties.size(), 0);
    unsigned long next = 100'000;
    const int rounds = Rounds(20);
    for (int round = 0; round < rounds; ++round) {
        VantrydProcess hub(directory.Path());
        ASSERT_TRUE(hub.ReadyLine().starts_with("ready ")) << "round " << round;
        FrameClient client = hub.Device("PRN1");
        for (std::size_t place = 0; place < kProperties.size(); ++place) {
            const unsigned long value = NumberOf(ValueOf(client, kProperties[place]));
            ASSERT_GE(value, loaded[place]) << "round " << round;
            ASSERT_LE(value, next) << "round " << round;
            loaded[place] = value;
        }
        std::thread killer([&, wait = random() % 30'000] {
            usleep(static_cast<useconds_t>(wait));
            hub.Signal(SIGKILL);
        });
        for (int writes = 0; writes < 400; ++writes) {
            ++next;
            client.Send(Set(kProperties[next % kProperties.size()], std::to_string(next)));
        }
        killer.join();
        hub.Wait();
    }
}

}  // namespace
}  // namespace vantry
