#include "runtime/thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <set>
#include <thread>

#include "runtime/event.h"
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

TEST(ThreadReaper, ItsThreadsUseTheStacksOfEarlierOnes) {
    ThreadReaper reaper(253);
    std::set<const void*> stacks;
    for (int count = 0; count < 100; ++count) {
        std::atomic<const void*> local{nullptr};
        std::unique_ptr<Thread> thread = reaper.MakeThread(
            [](void* result) -> std::uint32_t {
                *static_cast<std::atomic<const void*>*>(result) = __builtin_frame_address(0);
                return 0;
            },
            249);
        ASSERT_TRUE(thread->Start(&local));
        ASSERT_TRUE(test::Eventually([&] { return local != nullptr; }));
        stacks.insert(local);
        reaper.Retire(std::move(thread));
    }
    EXPECT_LT(stacks.size(), 40U);
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
