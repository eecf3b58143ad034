#pragma once

#include <atomic>
#include <cstdint>

namespace vantry {

/// Owns the descriptor of a socket that several threads use.
///
/// Close may come while other threads are inside calls with the descriptor: it shuts the socket
/// down, which ends those calls, and the number is given back to the system only when the last of
/// them has left, so it can never name somebody else's socket under a reader.
class SocketDescriptor {
public:
    /// Takes over `descriptor`; -1 makes a closed one.
    explicit SocketDescriptor(int descriptor);
    ~SocketDescriptor();
    SocketDescriptor(const SocketDescriptor&) = delete;
    SocketDescriptor& operator=(const SocketDescriptor&) = delete;

    /// Keeps the number valid while it lives.
    class Use {
    public:
        explicit Use(SocketDescriptor& socket);
        ~Use();
        Use(Use&& other) noexcept;
        Use& operator=(Use&&) = delete;

        /// False if the socket was closed.
        explicit operator bool() const { return owner != nullptr; }
        int Number() const { return owner->number; }

    private:
        SocketDescriptor* owner;
    };

    void Close();
    /// Ends the receiving direction, so that a blocked reader returns; sending goes on.
    void ShutDownReceiving();
    bool IsClosed() const { return closed; }

private:
    bool Enter();
    void Leave();

    const int number;
    std::atomic<bool> closed;
    /// The owner counts as one user until Close.
    std::atomic<std::uint32_t> users{1};
};

}  // namespace vantry
