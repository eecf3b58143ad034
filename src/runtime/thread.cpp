#include "runtime/thread.h"

#include "runtime/live_object_counters.h"
#include "runtime/native_thread.h"

namespace vantry {
namespace {

constexpr std::uint32_t kStopMilliseconds = 500;
/// The priority that runs at the nice value of the process; larger numbers are nicer.
constexpr std::uint32_t kOrdinaryPriority = 249;

int NiceOffset(std::uint32_t priority) {
    return priority <= kOrdinaryPriority ? 0 : static_cast<int>(priority - kOrdinaryPriority);
}

class HubThread final : public Thread {
public:
    HubThread(ThreadEntry function, std::uint32_t initialPriority, std::uint8_t stack)
        : entry(function), priority(initialPriority), reserveStack(stack) {}

    ~HubThread() override { HubThread::Stop(); }

    bool Start(void* argument) override {
        if (started) {
            return true;
        }
        if (!native.StartSuspended([run = entry, argument] { run(argument); }, NiceOffset(priority),
                                   reserveStack)) {
            return false;
        }
        started = true;
        // The last act: once it runs, the thread may retire this object.
        native.Resume();
        return true;
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
            // What counts is what Terminate finds; the wait only gives an orderly end its time.
            static_cast<void>(native.WaitForEnd(kStopMilliseconds));
            native.Terminate();
            started = false;
        }
    }

private:
    const ThreadEntry entry;
    std::uint32_t priority;
    const std::uint8_t reserveStack;
    bool started = false;
    NativeThread native;
};

}  // namespace

Thread::Thread() { ++LiveObjectCounters::threads; }

Thread::~Thread() { --LiveObjectCounters::threads; }

std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority,
                                   std::uint8_t reserveStack) {
    return std::make_unique<HubThread>(entry, priority, reserveStack);
}

}  // namespace vantry
