// A hub that is killed in a burst of saves comes up again with values that were saved.
//
// Each round starts a hub on the files of the last one, compares what it has loaded with what was
// sent to it, sends a burst of rising numbers, and kills it somewhere in the burst.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include "store/format/property_text.h"
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
constexpr std::size_t kCount = 3;
constexpr int kBurst = 400;
constexpr int kLinesOfALargeFile = 10'000;

using Numbers = std::array<unsigned long, kCount>;

/// Returns the number that a round has set; 0 for the default of the property, which is none of
/// them.
unsigned long NumberOf(const std::string& text) {
    if (text == "500" || text == "35000" || text == "/Store/VantryProperties.ini") {
        return 0;
    }
    EXPECT_TRUE(text.size() >= 6 && text.find_first_not_of("0123456789") == std::string::npos)
        << text;
    return std::strtoul(text.c_str(), nullptr, 10);
}

Numbers Ask(FrameClient& client) {
    Numbers numbers{};
    for (std::size_t place = 0; place < kCount; ++place) {
        numbers[place] = NumberOf(ValueIn(client.Ask(Get(kProperties[place])).value_or("")));
    }
    return numbers;
}

/// Returns the numbers in the file; 0 for those that it doesn't have.
Numbers Saved(const std::filesystem::path& file) {
    StoredLines lines;
    Numbers numbers{};
    if (ParsePropertyContent(ReadFile(file), lines)) {
        for (std::size_t place = 0; place < kCount; ++place) {
            const auto& [component, group, guid] = kProperties[place];
            const auto line = lines.find(group + ":" + guid);
            numbers[place] = line == lines.end() ? 0 : NumberOf(line->second.value);
        }
    }
    return numbers;
}

/// Returns what is stored when the numbers after `first`, up to `last`, have been saved over
/// `before`.
Numbers After(const Numbers& before, unsigned long first, unsigned long last) {
    Numbers numbers = before;
    for (unsigned long number = std::max(first, last < kCount ? 0 : last - kCount) + 1;
         number <= last; ++number) {
        numbers[number % kCount] = number;
    }
    return numbers;
}

void WriteLargeFile(const std::filesystem::path& file) {
    std::string text;
    for (int line = 0; line < kLinesOfALargeFile; ++line) {
        text +=
            "Group" + std::to_string(line) + ":Guid|A component of old:Its property=some value\n";
    }
    WriteFile(file, MakePropertyContent(text));
}

/// Sends a burst of numbers, of which `sent` becomes the last one, and kills the hub after the
/// time, which is somewhere in the burst. Returns what the file had just before.
Numbers BurstAndKill(VantrydProcess& hub, FrameClient& client, const std::filesystem::path& file,
                     unsigned long& sent, useconds_t wait) {
    Numbers seen{};
    std::thread killer([&] {
        usleep(wait);
        seen = Saved(file);
        hub.Signal(SIGKILL);
    });
    for (int writes = 0; writes < kBurst; ++writes) {
        ++sent;
        client.Send(Set(kProperties[sent % kCount], std::to_string(sent)));
    }
    killer.join();
    hub.Wait();
    return seen;
}

class KilledHub : public testing::TestWithParam<std::tuple<const char*, bool>> {};

TEST_P(KilledHub, StartsWithValuesThatWereSaved) {
    const auto& [saves, isLarge] = GetParam();
    const bool replaces = std::string(saves) == "replace";
    const TemporaryDirectory directory;
    const std::filesystem::path file = directory.Path() / "root/Store/VantryProperties.ini";
    if (isLarge) {
        WriteLargeFile(file);
    }
    std::mt19937 random(std::random_device{}());
    Numbers loaded{};
    unsigned long sent = 100'000;
    unsigned long first = sent;
    Numbers seen{};
    int fellBack = 0;
    int progress = 0;
    int round = 0;
    // A slow disk may save nothing in a few rounds, which would prove nothing.
    for (const int rounds = Rounds(5); round < rounds || (progress == 0 && round < 20 * rounds);
         ++round) {
        fellBack += std::filesystem::exists(file) && !IsGoodPropertyContent(ReadFile(file)) ? 1 : 0;
        VantrydProcess hub(directory.Path(), {"--saves", saves});
        ASSERT_EQ(hub.root / "Store/VantryProperties.ini", file);
        ASSERT_TRUE(hub.ReadyLine().starts_with("ready ")) << "round " << round;
        FrameClient client = hub.Device("PRN1");
        const Numbers now = Ask(client);
        const unsigned long newest = *std::max_element(now.begin(), now.end());
        for (std::size_t place = 0; place < kCount; ++place) {
            ASSERT_GE(now[place], replaces ? seen[place] : loaded[place]) << "round " << round;
            ASSERT_LE(now[place], sent) << "round " << round;
        }
        if (replaces && newest > first) {
            // All values are of one moment: none is older than one that was saved before.
            ASSERT_EQ(now, After(loaded, first, newest)) << "round " << round;
        }
        progress += newest > first ? 1 : 0;
        loaded = now;
        first = sent;
        seen = BurstAndKill(hub, client, file, sent, static_cast<useconds_t>(random() % 60'000));
    }
    EXPECT_GT(progress, 0);
    EXPECT_GT(loaded[0] + loaded[1] + loaded[2], 0U);
    if (replaces) {
        EXPECT_EQ(fellBack, 0);
    }
    std::cout << saves << (isLarge ? ", large file: " : ", small file: ") << progress << " of "
              << round << " starts had newer values, " << fellBack << " found a torn file\n";
}

INSTANTIATE_TEST_SUITE_P(Saves, KilledHub,
                         testing::Combine(testing::Values("in-place", "replace"), testing::Bool()),
                         [](const auto& info) {
                             const bool replaces =
                                 std::get<0>(info.param) == std::string("replace");
                             return std::string(replaces ? "Replaced" : "InPlace") +
                                    (std::get<1>(info.param) ? "LargeFile" : "SmallFile");
                         });

}  // namespace
}  // namespace vantry
