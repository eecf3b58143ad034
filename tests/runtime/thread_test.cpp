#include "runtime/thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
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
    thread->Start(&never);
    thread.reset();
    EXPECT_EQ(LiveObjectCounters::threads, before);
    never.Set();  // Its lock was given back.
}

TEST(Thread, ALessUrgentPriorityIsInForceBeforeTheEntryRuns) {
    std::atomic<int> nice{-100};
    const std::unique_ptr<Thread> thread = MakeThread(
        [](void* result) -> std::uint32_t {
            *static_cast<std::atomic<int>*>(result) = getpriority(PRIO_PROCESS, 0);
            return 0;
        },
        253, 0);
    thread->Start(&nice);
    thread->Stop();
    EXPECT_EQ(nice, getpriority(PRIO_PROCESS, 0) + 4);
}

TEST(ThreadReaper, DestroysWhatFinishedThreadsHandIt) {
    const std::uint32_t before = LiveObjectCounters::threads;
    {
        ThreadReaper reaper(253);
        std::atomic<int> runs{0};
        for (int count = 0; count < 20; ++count) {
            std::unique_ptr<Thread> thread = reaper.MakeThread(CountUp, 249);
            thread->Start(&runs);
            reaper.Retire(std::move(thread));
        }
        EXPECT_TRUE(test::Eventually([&] { return LiveObjectCounters::threads == before + 1; }));
        EXPECT_EQ(runs, 20);
    }
    EXPECT_EQ(LiveObjectCounters::threads, before);
}

TEST(Lock, IsReentrantAndSharedByItsCopies) {
    const Lock lock;
    const Lock copy = lock;
    ScopedLock outer(lock);
    ScopedLock inner(copy);
    bool taken = true;
    std::thread([&] { taken = copy.TryEnter(); }).join();
    EXPECT_FALSE(taken);
}

}  // namespace
}  // namespace vantry
