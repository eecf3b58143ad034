#pragma once

#include "platform/descriptors.h"

namespace vantry {

/// A flag with a descriptor, by which a thread ends another one's poll or epoll_wait. All
/// operations are thread-safe and none blocks.
class WakeUp {
public:
    /// `calls` must outlive the object. If they give no descriptor for it, Number is below 0 and
    /// Ring has no effect.
    explicit WakeUp(Descriptors& calls) : descriptors(calls), number(calls.OpenEvent()) {}
    ~WakeUp() { descriptors.Close(number); }
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Returns the descriptor, which is readable from Ring until Clear.
    int Number() const { return number; }
    /// Sets the flag.
    void Ring() { descriptors.SetEvent(number); }
    /// Clears the flag. Returns whether it was set.
    bool Clear() { return descriptors.ClearEvent(number); }

private:
    Descriptors& descriptors;
    const int number;
};

}  // namespace vantry
