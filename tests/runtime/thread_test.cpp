#include "runtime/thread.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "runtime/event.h"
#include "runtime/kept_stacks.h"
#include "runtime/live_object_counters.h"
#include "runtime/lock.h"
#include "runtime/thread_reaper.h"
#include "support/eventually.h"

namespace vantry {
namespace {

std::uint32_t CountUp(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return 0;
}

TEST(Thread, StartsOnceAndStopsHarmlessly) {
    std::atomic<int> runs{0};
    const std::unique_ptr<Thread> thread = MakeThread(CountUp, 249, 0);
    thread->Stop();
    EXPECT_TRUE(thread->Start(&runs));
    EXPECT_TRUE(thread->Start(&runs));
    thread->Stop();
    thread->Stop();
    EXPECT_EQ(runs, 1);
}

TEST(Thread, OneThatWaitsForEverIsEndedByForce) {
    const std::uint32_t before = LiveObjectCounters::threads;
    Event never(false);
    std::unique_ptr<Thread> thread = MakeThread(
        [](void* event) -> std::uint32_t {
            static_cast<Event*>(event)->Wait();
            return 0;
        },
        249, 0);
    ASSERT_TRUE(thread->Start(&never));
    thread.reset();
    EXPECT_EQ(LiveObjectCounters::threads, before);
    never.Set();  // Blocks for ever if the thread still holds the lock.
}

TEST(Thread, ALessUrgentPriorityIsInForceBeforeTheEntryRuns) {
    std::atomic<int> nice{-100};
    const std::unique_ptr<Thread> thread = MakeThread(
        [](void* result) -> std::uint32_t {
            *static_cast<std::atomic<int>*>(result) = getpriority(PRIO_PROCESS, 0);
            return 0;
        },
        253, 0);
    ASSERT_TRUE(thread->Start(&nice));
    thread->Stop();
    EXPECT_EQ(nice, getpriority(PRIO_PROCESS, 0) + 4);
}

TEST(Thread, ABacktraceShowsItsName) {
    char name[16] = "";
    const std::unique_ptr<Thread> thread = MakeThread(
        [](void* result) -> std::uint32_t {
            pthread_getname_np(pthread_self(), static_cast<char*>(result), sizeof name);
            return 0;
        },
        249, 0, "a-name-that-is-cut");
    ASSERT_TRUE(thread->Start(name));
    thread->Stop();
    EXPECT_STREQ(name, "a-name-that-is-");
}

TEST(ThreadReaper, DestroysTheThreadsThatAreRetired) {
    const std::uint32_t before = LiveObjectCounters::threads;
    {
        ThreadReaper reaper(253);
        std::atomic<int> runs{0};
        for (int count = 0; count < 20; ++count) {
            std::unique_ptr<Thread> thread = reaper.MakeThread(CountUp, 249);
            ASSERT_TRUE(thread->Start(&runs));
            reaper.Retire(std::move(thread));
        }
        EXPECT_TRUE(test::Eventually([&] { return LiveObjectCounters::threads == before + 1; }));
        EXPECT_EQ(runs, 20);
    }
    EXPECT_EQ(LiveObjectCounters::threads, before);
}

TEST(KeptStacks, KeepsSomeStacksWithTheirMemory) {
    KeptStacks stacks;
    std::vector<void*> taken;
    for (char number = 0; number < 40; ++number) {
        taken.push_back(stacks.Take());
        *static_cast<char*>(taken.back()) = number;
    }
    for (void* const stack : taken) {
        stacks.GiveBack(stack);
    }
    const auto isMapped = [](void* stack) {
        unsigned char resident = 0;
        return mincore(stack, 1, &resident) == 0;
    };
    EXPECT_EQ(std::count_if(taken.begin(), taken.end(), isMapped), 16);
    EXPECT_EQ(stacks.Take(), taken[15]);
    EXPECT_EQ(*static_cast<char*>(taken[15]), 15);
    stacks.GiveBack(taken[15]);
}

TEST(ThreadReaper, AThreadThatIsEndedByForceLeavesAGoodStack) {
    ThreadReaper reaper(253);
    Event never(false);
    const std::unique_ptr<Thread> thread = reaper.MakeThread(
        [](void* event) -> std::uint32_t {
            static_cast<Event*>(event)->Wait();
            return 0;
        },
        249);
    ASSERT_TRUE(thread->Start(&never));
    thread->Stop();
    std::atomic<int> runs{0};
    const std::unique_ptr<Thread> next = reaper.MakeThread(CountUp, 249);
    ASSERT_TRUE(next->Start(&runs));
    EXPECT_TRUE(test::Eventually([&] { return runs == 1; }));
}

TEST(Lock, IsReentrantAndSharedByItsCopies) {
    const Lock lock;
    const Lock copy = lock;
    ScopedLock outer(lock);
    ScopedLock inner(copy);
    bool entered = true;
    std::thread([&] { entered = copy.TryEnter(); }).join();
    EXPECT_FALSE(entered);
}

}  // namespace
}  // namespace vantry
