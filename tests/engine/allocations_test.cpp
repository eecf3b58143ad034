// How often the memory of the heap is asked for while a message is processed, from the look-ahead
// window to the reply. Sanitizers and the standard library's debug mode don't change the number.

#include <gtest/gtest.h>

#include "engine/subscriber.h"
#include "support/allocations.h"
#include "support/loop_stream.h"
#include "support/test_hub.h"

namespace vantry {
namespace {

using namespace test;

class EngineAllocations : public testing::Test {
protected:
    /// Returns how many allocations the thread makes for the message once everything that lasts has
    /// been made.
    std::size_t Of(const std::string& text) {
        const auto stream = std::make_shared<PeekStream>(std::make_shared<LoopStream>(text));
        std::size_t before = 0;
        for (int times = 0; times < 3; ++times) {
            before = AllocationsOfThisThread().count;
            EXPECT_EQ(hub.sessions->ProcessNext(stream), 1U);
        }
        return AllocationsOfThisThread().count - before;
    }
    TestHub hub;
};

TEST_F(EngineAllocations, AMessageAsksForLittleMemoryAndAnEntryOnlyForItsTexts) {
    const auto reports = [](std::size_t count, const std::string& value) {
        return Many("PropertyGetResponses", count, [&](std::size_t number) {
            return ReportEntry(
                {"COMPONENT", "GROUP", "A NAME OF SOME LENGTH " + std::to_string(number)}, value);
        });
    };
    const auto reads = [](std::size_t count) {
        return Many("PropertyGetRequests", count, [](std::size_t number) {
            return R"({"Component": "COMPONENT","GUID": "GROUP:A NAME OF SOME LENGTH )" +
                   std::to_string(number) + "\"}";
        });
    };
    EXPECT_LE(Of(Get(PublishingPeriod())), 6U);
    // The texts of an entry are one piece of memory; lists and answers grow by doubling.
    constexpr std::size_t kEntries = 400;
    constexpr std::size_t kBesides = 24;
    EXPECT_LE(Of(reports(kEntries, "an escape makes a tree: \\t")), kEntries + kBesides);
    EXPECT_LE(Of(reports(kEntries, "the same value as before")), kBesides);
    EXPECT_LE(Of(reads(kEntries)), kEntries + kBesides);
}

// Otherwise the removal of one of many would move all the others, with all subscribers waiting.
TEST(Subscriptions, EqualEntriesAreKeptOnce) {
    Subscriber subscriber(std::make_shared<LoopStream>("x"));
    const Address wanted{"COMPONENT", "GROUP", "A NAME OF SOME LENGTH"};
    constexpr std::size_t kTimes = 1'000;
    const std::size_t before = AllocationsOfThisThread().bytes;
    for (std::size_t time = 0; time < kTimes; ++time) {
        static_cast<void>(subscriber.Add(wanted.component, wanted.groupGuid, wanted.guid, true));
    }
    EXPECT_LT(AllocationsOfThisThread().bytes - before, kTimes);
    const std::string key = FullKey(wanted.component, wanted.groupGuid, wanted.guid);
    for (std::size_t time = 0; time < kTimes; ++time) {
        EXPECT_TRUE(subscriber.HasEntry(key));
        subscriber.RemoveEntry(key);
    }
    EXPECT_TRUE(subscriber.WantsEverything());
    EXPECT_FALSE(subscriber.HasEntry(key));
}

// docs/SECURITY.md allows 32 MiB for 65,536 entries, which peers can give the longest names that
// still count as one.
TEST(Subscriptions, AnEntryTakesNoMoreThanItsPartOfTheBound) {
    Subscriber subscriber(std::make_shared<LoopStream>("x"));
    constexpr std::size_t kEntries = 16'384;
    const std::string component(80, 'c');
    const std::string group(80, 'g');
    const std::string guid(85, 'p');
    const std::size_t before = AllocationsOfThisThread().bytes;
    for (std::size_t number = 0; number < kEntries; ++number) {
        static_cast<void>(
            subscriber.Add(component, group, guid + std::to_string(10'000 + number), true));
    }
    EXPECT_LT(AllocationsOfThisThread().bytes - before, kEntries * 512);
}

}  // namespace
}  // namespace vantry
