// What waits for a server that is busy.

#include "gateway/inbox.h"

#include <gtest/gtest.h>

namespace vantry::gateway {
namespace {

Arrival Change(const std::string& name, std::string value) {
    Arrival arrival{};
    arrival.change.id = {"COMPONENT", "GROUP", name};
    arrival.change.value = std::move(value);
    return arrival;
}

struct BurstCase {
    const char* what;
    std::size_t changes;
    std::size_t bytes;
};

class InboxInABurst : public testing::TestWithParam<BurstCase> {};

TEST_P(InboxInABurst, KeepsTheLastValueOfEachPropertyInBoundedMemory) {
    const BurstCase& given = GetParam();
    Inbox inbox;
    EXPECT_TRUE(inbox.Add(Change("Still", "first")));
    std::string last;
    for (std::size_t number = 0; number < given.changes; ++number) {
        last = std::to_string(number) + std::string(given.bytes, 'x');
        EXPECT_FALSE(inbox.Add(Change("Busy", last)));
    }
    const std::vector<Arrival> taken = inbox.TakeAll();
    std::size_t held = 0;
    for (const Arrival& arrival : taken) {
        held += arrival.change.value.size();
    }
    EXPECT_LE(held, 64U << 20U);
    EXPECT_LE(taken.size(), 20'000U);
    EXPECT_EQ(taken.front().change.value, "first");
    EXPECT_EQ(taken.back().change.value, last);
    EXPECT_TRUE(inbox.Add(Change("Still", "again")));
}

INSTANTIATE_TEST_SUITE_P(Changes, InboxInABurst,
                         testing::Values(BurstCase{"many", 100'000, 0},
                                         BurstCase{"long", 100, 4U << 20U}),
                         [](const auto& info) { return info.param.what; });

}  // namespace
}  // namespace vantry::gateway
