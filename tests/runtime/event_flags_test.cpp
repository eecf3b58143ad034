#include "runtime/event_flags.h"

#include <gtest/gtest.h>

#include <thread>

#include "runtime/event.h"

namespace vantry {
namespace {

TEST(EventFlags, AWaitTakesOnlyTheBitsThatItWaitedForAndSeesAll) {
    EventFlags flags(true);
    flags.Set(1);
    flags.Set(2);
    EXPECT_EQ(flags.WaitAny(1), 3U);
    EXPECT_EQ(flags.WaitAny(3), 2U);
    EXPECT_EQ(flags.WaitAny(3, 0), 0U);
}

TEST(EventFlags, WithoutAutoClearABitStaysUntilItIsCleared) {
    EventFlags flags(false);
    flags.Set(1);
    EXPECT_EQ(flags.WaitAny(1), 1U);
    EXPECT_EQ(flags.WaitAny(1), 1U);
    flags.Clear(1);
    EXPECT_EQ(flags.WaitAny(1, 0), 0U);
}

TEST(EventFlags, WaitAllNeedsEveryBitAndATimeOutTakesNone) {
    EventFlags flags(true);
    flags.Set(1);
    EXPECT_FALSE(flags.WaitAll(3, 20));
    flags.Set(2);
    EXPECT_TRUE(flags.WaitAll(3, 0));
    EXPECT_EQ(flags.WaitAny(3, 0), 0U);
}

TEST(EventFlags, WaitUntilTakesAllFlags) {
    EventFlags flags(true);
    flags.Set(0xF0);
    EXPECT_EQ(flags.WaitUntil([](std::uint32_t now) { return now > 0x10; }), 0xF0U);
    EXPECT_FALSE(flags.WaitUntil([](std::uint32_t now) { return now != 0; }, 1));
}

TEST(EventFlags, ASetWakesEveryWaiter) {
    EventFlags flags(false);
    std::thread one([&] { flags.WaitAny(1); });
    std::thread two([&] { flags.WaitAll(1); });
    flags.Set(1);
    one.join();
    two.join();
}

TEST(Event, AnAutoClearingEventLetsOneWaitThrough) {
    Event event(true);
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    event.Set();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));
}

}  // namespace
}  // namespace vantry
