#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace vantry {

/// A flag with a descriptor, by which a thread ends another one's poll or epoll_wait. All
/// operations are thread-safe and none blocks.
class WakeUp {
public:
    /// If the system has no descriptor for it, Number is -1 and Ring has no effect.
    WakeUp() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~WakeUp() { close(descriptor); }
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Returns the descriptor, which is readable from Ring until Clear.
    int Number() const { return descriptor; }
    /// Sets the flag.
    void Ring() {
        const std::uint64_t one = 1;
        static_cast<void>(!write(descriptor, &one, sizeof one));
    }
    /// Clears the flag. Returns whether it was set.
    bool Clear() {
        std::uint64_t count = 0;
        return read(descriptor, &count, sizeof count) == sizeof count;
    }

private:
    const int descriptor;
};

}  // namespace vantry
