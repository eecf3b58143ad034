#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>

namespace vantry::client {

/// A descriptor that becomes readable once, to end waits in poll. It stays so. Thread-safe.
class Interruption {
public:
    Interruption() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Interruption() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Ends all present and later waits. Doesn't block.
    void Set() {
        isSet = true;
        static_cast<void>(eventfd_write(descriptor, 1));
    }
    bool IsSet() const { return isSet; }
    /// Returns the descriptor to poll for POLLIN, or -1, which poll ignores, if the system had none
    /// to give; waits then last until their deadline.
    int Descriptor() const { return descriptor; }

private:
    const int descriptor;
    std::atomic<bool> isSet{false};
};

}  // namespace vantry::client
