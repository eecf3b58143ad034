// The threads of the hub, as NativeThreads.
//
// Priorities become nice values, because ordinary threads of the system have no fixed priorities:
// those above 249 run with a rising nice value, all others with that of the process. A thread gets
// 500 ms to end by itself; ending it by force is for a thread that hangs, and never needed in an
// orderly stop.

#include "runtime/thread.h"

#include <string>
#include <utility>

#include "runtime/live_object_counters.h"
#include "runtime/native_thread.h"

namespace vantry {
namespace {

constexpr std::uint32_t kStopMilliseconds = 500;
/// This priority and smaller numbers run at the nice value of the process.
constexpr std::uint32_t kOrdinaryPriority = 249;

int NiceOffset(std::uint32_t priority) {
    return priority <= kOrdinaryPriority ? 0 : static_cast<int>(priority - kOrdinaryPriority);
}

class HubThread final : public Thread {
public:
    HubThread(ThreadEntry function, std::uint32_t initialPriority, std::uint8_t stack,
              std::string_view shownName, std::shared_ptr<KeptStacks> source)
        : entry(function),
          priority(initialPriority),
          reserveStack(stack),
          name(shownName),
          stacks(std::move(source)) {}

    ~HubThread() override { HubThread::Stop(); }

    bool Start(void* argument) override {
        if (started) {
            return true;
        }
        started = true;
        // Once it runs, the thread may pass this object to the ThreadReaper, which destroys it.
        if (native.Start([run = entry, argument] { run(argument); },
                         {.name = name,
                          .niceOffset = NiceOffset(priority),
                          .stackBytes = reserveStack,
                          .stacks = stacks})) {
            return true;
        }
        started = false;
        return false;
    }

    bool SetPriority(std::uint32_t newPriority) override {
        if (!native.SetNiceOffset(NiceOffset(newPriority))) {
            return false;
        }
        priority = newPriority;
        return true;
    }

    void Stop() override {
        if (started) {
            // Terminate looks again whether the thread has ended, so the result isn't needed.
            static_cast<void>(native.WaitForEnd(kStopMilliseconds));
            native.Terminate();
            started = false;
        }
    }

private:
    const ThreadEntry entry;
    std::uint32_t priority;
    const std::uint8_t reserveStack;
    const std::string name;
    const std::shared_ptr<KeptStacks> stacks;
    bool started = false;
    NativeThread native;
};

}  // namespace

Thread::Thread() { ++LiveObjectCounters::threads; }

Thread::~Thread() { --LiveObjectCounters::threads; }

std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority,
                                   std::uint8_t reserveStack, std::string_view name,
                                   std::shared_ptr<KeptStacks> stacks) {
    return std::make_unique<HubThread>(entry, priority, reserveStack, name, std::move(stacks));
}

}  // namespace vantry
