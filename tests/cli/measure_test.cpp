#include <gtest/gtest.h>

#include "cli/measure/change_rates.h"

namespace vantry::cli {
namespace {

using std::chrono::milliseconds;

client::Property Changed(const std::string& component, const std::string& name,
                         client::Origin origin = client::Origin::Change) {
    return {.id = {component, "G", name},
            .componentName = component,
            .groupName = "G",
            .name = name,
            .value = "12345",
            .origin = origin};
}

TEST(ChangeRates, TellWhoFloodsTheHubNow) {
    const ChangeRates::Clock::time_point begin;
    ChangeRates all(begin, std::nullopt);
    ChangeRates last(begin, 10);
    const auto count = [&](const client::Property& change, milliseconds after) {
        all.Count(change, begin + after);
        last.Count(change, begin + after);
    };
    count(Changed("Quiet", "a", client::Origin::Present), milliseconds(0));
    for (int number = 0; number < 4000; ++number) {
        count(Changed("Early", "b"), milliseconds(number));
    }
    for (int number = 0; number < 2000; ++number) {
        count(Changed("Late", number % 2 == 0 ? "c" : "d"), milliseconds(10'000 + number * 5));
    }
    count(Changed("Quiet", "a", client::Origin::Reconciled), milliseconds(19'990));

    ChangeRates::Summary whole = all.SumUp(begin + milliseconds(20'000));
    EXPECT_EQ(whole.components.size(), 3U);
    EXPECT_NEAR(whole.changesPerSecond, 6001 / 20.0, 0.1);
    EXPECT_NEAR(whole.bytesPerSecond, 5 * 6001 / 20.0, 0.1);
    EXPECT_EQ(whole.missed, 1U);
    ASSERT_NE(whole.Flood(), nullptr);
    EXPECT_EQ(whole.Flood()->property.componentName, "Early");

    ChangeRates::Summary now = last.SumUp(begin + milliseconds(20'000));
    ASSERT_NE(now.Flood(), nullptr);
    EXPECT_EQ(now.Flood()->property.componentName, "Late");
    SortRates(now.components, RateOrder::Changes);
    EXPECT_NEAR(now.components[0].changesPerSecond, 200, 25);
    EXPECT_EQ(now.components[0].properties, 2U);
    EXPECT_EQ(now.components[0].size, 10U);
    EXPECT_EQ(now.components[2].changesPerSecond, 0);

    EXPECT_EQ(last.SumUp(begin + milliseconds(60'000)).Flood(), nullptr);
}

}  // namespace
}  // namespace vantry::cli
