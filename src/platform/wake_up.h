#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace vantry {

/// A descriptor by which any thread ends another one's poll.
class WakeUp {
public:
    WakeUp() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~WakeUp() { close(descriptor); }
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Readable from Ring to Clear.
    int Number() const { return descriptor; }
    void Ring() {
        const std::uint64_t one = 1;
        static_cast<void>(!write(descriptor, &one, sizeof one));
    }
    void Clear() {
        std::uint64_t count = 0;
        static_cast<void>(!read(descriptor, &count, sizeof count));
    }

private:
    const int descriptor;
};

}  // namespace vantry
