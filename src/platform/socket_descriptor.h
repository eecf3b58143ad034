#pragma once

#include <atomic>
#include <cstdint>

#include "platform/descriptors.h"

namespace vantry {

/// Owns the descriptor of a socket that several threads use.
///
/// Close may be called while other threads use the descriptor in a system call. It then shuts the
/// socket down, which ends those calls; the descriptor itself is closed when the last of them has
/// returned. So its number can't be reused for another socket while a thread still uses it.
///
/// All operations are thread-safe and none blocks.
class SocketDescriptor {
public:
    /// Becomes the owner of `descriptor`. If it is below 0 the object is closed from the start.
    /// `calls` must outlive the object.
    SocketDescriptor(Descriptors& calls, int descriptor);
    ~SocketDescriptor();
    SocketDescriptor(const SocketDescriptor&) = delete;
    SocketDescriptor& operator=(const SocketDescriptor&) = delete;

    /// Keeps the descriptor open for the length of a scope. Must not outlive the SocketDescriptor.
    class Use {
    public:
        explicit Use(SocketDescriptor& socket);
        ~Use();
        Use(Use&& other) noexcept;
        Use& operator=(Use&&) = delete;

        /// False if the socket was closed before. Number may only be called on a Use that is true.
        explicit operator bool() const { return owner != nullptr; }
        int Number() const { return owner->number; }

    private:
        SocketDescriptor* owner;
    };

    /// Closes the socket. If there are Uses, it is shut down in both directions, and closed when
    /// none is left. Further calls do nothing.
    void Close();
    /// Ends the receiving direction, so that a blocked reader returns. Sending stays possible.
    void ShutDownReceiving();
    bool IsClosed() const { return closed; }
    /// Returns the calls that the descriptor is used with.
    Descriptors& Calls() const { return descriptors; }

private:
    /// Adds a user. Returns false, and adds none, if the socket was closed.
    bool Enter();
    /// Removes a user; the last one closes the descriptor.
    void Leave();

    Descriptors& descriptors;
    const int number;
    std::atomic<bool> closed;
    /// How many Uses there are, and one more until Close.
    std::atomic<std::uint32_t> users{1};
};

}  // namespace vantry
