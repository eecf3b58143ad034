#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runtime/lock.h"

namespace vantry::bridge {

/// Waits on descriptors and timers, and calls functions of the program. All functions run on the
/// thread that calls Run. Only Post and Stop may be called by other threads.
class Loop {
public:
    using Reaction = std::function<void(bool isReadable, bool isWritable)>;

    /// A point in time at which a function is called once. It belongs to the thread of the loop and
    /// must not outlive the loop.
    class Timer {
    public:
        Timer(Loop& itsLoop, std::function<void()> reaction)
            : loop(itsLoop), react(std::move(reaction)) {}
        ~Timer() { Cancel(); }
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;

        /// Sets the time to so many milliseconds from now, in place of an earlier one.
        void Set(std::uint64_t milliseconds);
        /// Does the same, unless the timer is set to an earlier time.
        void SetEarlier(std::uint64_t milliseconds);
        void Cancel();
        bool IsSet() const { return due != 0; }

    private:
        friend class Loop;
        Loop& loop;
        const std::function<void()> react;
        /// In nanoseconds of NowNanoseconds; 0 when it isn't set.
        std::uint64_t due = 0;
    };

    Loop();
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Calls `reaction` when the descriptor is ready, until Forget. A second call for the same
    /// descriptor changes what is waited for.
    void Watch(int descriptor, bool forWriting, Reaction reaction);
    void WatchForWriting(int descriptor, bool forWriting);
    void Forget(int descriptor);
    /// Calls `job` on the thread of the loop. Thread-safe; doesn't block.
    void Post(std::function<void()> job);
    /// Calls functions until Stop. Blocks.
    void Run();
    /// Makes Run return. Thread-safe.
    void Stop();

private:
    struct Watched {
        bool forWriting;
        Reaction react;
    };

    void Wait(int milliseconds);
    void RunPosted();
    void RunTimers();
    int MillisecondsToNextTimer() const;

    const int poll;
    const int wake;
    std::unordered_map<int, Watched> watched;
    std::set<std::pair<std::uint64_t, Timer*>> timers;
    Mutex lock;
    std::vector<std::function<void()>> posted GUARDED_BY(lock);
    bool isStopped GUARDED_BY(lock) = false;
};

}  // namespace vantry::bridge
