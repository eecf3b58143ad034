#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "client/endpoint.h"
#include "client/frame_socket.h"
#include "client/interruption.h"
#include "client/quiet_thread.h"
#include "client/turn.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The time limits of a channel, and the length of the longest text that it receives in bytes.
struct ChannelTiming {
    std::uint32_t deadlineMilliseconds;
    std::uint32_t firstPauseMilliseconds;
    std::uint32_t longestPauseMilliseconds;
    std::uint32_t longestText;
};

/// A connection that is established again whenever it is lost. A thread of the channel connects,
/// restores the state of the connection, and receives messages. All operations are thread-safe,
/// except that none may be called after Stop, and Stop not on the channel's thread.
class Channel {
public:
    /// These functions run on the channel's thread, which receives nothing while one of them runs.
    struct Callbacks {
        /// Restores the state of a new connection before it is used for anything else. If it fails,
        /// the channel connects again.
        std::function<Outcome(FrameSocket&)> restore;
        std::function<void(std::unique_ptr<ReceivedMessage>)> onMessage;
        /// Called when a connection is restored, before its first message, and when it is lost.
        std::function<void(bool connected)> onState;
        /// Called when the hub can't be reached, or ends a connection before its first message.
        std::function<void(const Error&)> onFailure;
    };

    Channel(Endpoint hubEndpoint, ChannelTiming waits, Callbacks reactions);
    /// Calls Stop.
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Starts the thread, which begins with `connected` or, if that is null, by connecting. Returns
    /// false if the system can't create a thread; the channel then stays without a connection.
    [[nodiscard]] bool Start(std::shared_ptr<FrameSocket> connected = nullptr);
    /// Blocks until the first connection is restored or has failed, and returns the failure.
    /// Returns TimedOut if neither happens by the deadline.
    Outcome WaitUntilSettled(const Deadline& deadline);
    /// Sends over the connection, and blocks until the system has accepted the message. Returns
    /// NoConnection at once while there is no connection.
    Outcome Send(const PropertyMessage& message, const Deadline& deadline);
    /// Ends the present connection, without waiting for that, and makes the thread connect again
    /// without a pause.
    void Restart();
    /// Sends a disconnect message, so that the hub processes what was sent before; waits up to 300
    /// ms for the hub to close the connection, and then ends the thread. Blocks for a running
    /// callback.
    void Stop();
    /// Returns whether there is a restored connection.
    bool IsUp() const { return up; }
    /// Returns the reason for which there is no connection.
    Error WhyDown() const;

private:
    void Run(std::shared_ptr<FrameSocket> first);
    Outcome ServeOnce(const std::shared_ptr<FrameSocket>& socket);
    Outcome Serve(FrameSocket& socket);
    /// Asks the hub to close the connection.
    Outcome SayGoodbye();
    /// Sends a disconnect message and waits, as long as Stop would, for the hub to close the
    /// connection.
    void Leave(FrameSocket& socket);
    void Settle(const Outcome& outcome);
    std::shared_ptr<FrameSocket> Current() const;
    void SetCurrent(std::shared_ptr<FrameSocket> socket);

    const Endpoint endpoint;
    const ChannelTiming timing;
    const Callbacks callbacks;
    std::atomic<bool> stopping{false};
    std::atomic<bool> up{false};
    /// Ends an attempt to connect when the channel stops.
    Interruption stop;
    /// Ends the pause before the next attempt to connect.
    Event hurry{true};
    Event settled{false};
    mutable Mutex currentLock;
    std::shared_ptr<FrameSocket> current GUARDED_BY(currentLock);
    std::optional<Error> lastFailure GUARDED_BY(currentLock);
    /// Guards an activity and no data: it is held while a frame is written, so that frames of
    /// different threads aren't mixed. It is a Turn because writing may take until the deadline.
    Turn sending;
    QuietThread thread;
};

}  // namespace vantry::client
