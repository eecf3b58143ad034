#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "mqtt/connection.h"

namespace vantry::mqtt {

/// Begins connections on a thread of its own, because the system's look-up of a name blocks and
/// can't be interrupted. One after the other is begun, so a name server that doesn't answer holds
/// one thread, however many connections wait. All operations are for one thread and don't block.
class Dialer {
public:
    using Report = std::function<void(Result<std::unique_ptr<Connection>>)>;
    /// Names an attempt; never 0.
    using Ticket = std::uint64_t;

    Dialer();
    /// Cancels all attempts. Leaves a look-up that is under way alone.
    ~Dialer();
    Dialer(const Dialer&) = delete;
    Dialer& operator=(const Dialer&) = delete;

    /// Does what Connection::Begin does, and calls `report` with what it returns, once: on the
    /// other thread or, if the system has no thread to give, within this call. `report` must not
    /// call the dialer or block.
    Ticket Begin(Connection::Settings settings, Connection::Callbacks callbacks, Report report);
    /// The report of this attempt isn't called after Cancel has returned.
    void Cancel(Ticket ticket);

    /// Does what Connection::Begin does, for a program that has nothing else to wait for. Blocks
    /// for so many milliseconds at most, and returns TimedOut then.
    static Result<std::unique_ptr<Connection>> BeginWithin(std::uint32_t milliseconds,
                                                           Connection::Settings settings,
                                                           Connection::Callbacks callbacks);

private:
    struct Shared;
    static void Run(Shared& queue);

    const std::shared_ptr<Shared> shared;
    const bool hasThread;
    Ticket last = 0;
};

}  // namespace vantry::mqtt
