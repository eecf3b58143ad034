#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "client/endpoint.h"
#include "client/frame_socket.h"
#include "client/quiet_thread.h"
#include "client/turn.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::client {

/// How a channel waits, and what it takes.
struct ChannelTiming {
    std::uint32_t deadlineMilliseconds;
    std::uint32_t firstPauseMilliseconds;
    std::uint32_t longestPauseMilliseconds;
    std::uint32_t longestText;
};

/// A connection that comes back: a thread connects, restores what was agreed on, hands on what
/// arrives, and starts over when the connection is gone. Any thread may call the operations.
class Channel {
public:
    /// They run on the channel's thread, on which nothing else arrives meanwhile.
    struct Callbacks {
        /// Makes the fresh connection what the old one was, before anybody else uses it.
        std::function<Outcome(FrameSocket&)> restore;
        std::function<void(std::unique_ptr<ReceivedMessage>)> onMessage;
        /// Called when the connection is there, before any message, and when it is gone.
        std::function<void(bool connected)> onState;
        /// Called when the hub can't be reached, or ends the connection before it is restored.
        std::function<void(const Error&)> onFailure;
    };

    Channel(Endpoint hubEndpoint, ChannelTiming waits, Callbacks reactions);
    /// Ends as Stop does.
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Goes on with a connection that is there already, or connects first. False if the system has
    /// no thread to give.
    [[nodiscard]] bool Start(std::shared_ptr<FrameSocket> connected = nullptr);
    /// Waits until the first connection is restored or has failed. Returns the failure; TimedOut
    /// if neither happens by the deadline.
    Outcome WaitUntilSettled(const Deadline& deadline);
    /// Sends over the connection, and blocks until the system has taken the message; fails at once
    /// while there is no connection.
    Outcome Send(const PropertyMessage& message, const Deadline& deadline);
    /// Gives the present connection up and connects anew at once.
    void Restart();
    /// Tells the hub that this is the end, so that it takes what was sent before and misses nobody;
    /// waits a moment for it to close the connection, and ends the thread.
    void Stop();
    bool IsUp() const { return up; }
    /// Why there is no connection at the moment.
    Error WhyDown() const;

private:
    void Run(std::shared_ptr<FrameSocket> first);
    Outcome ServeOnce(const std::shared_ptr<FrameSocket>& socket);
    Outcome Serve(FrameSocket& socket);
    void Settle(const Outcome& outcome);
    std::shared_ptr<FrameSocket> Current() const;
    void SetCurrent(std::shared_ptr<FrameSocket> socket);

    const Endpoint endpoint;
    const ChannelTiming timing;
    const Callbacks callbacks;
    std::atomic<bool> stopping{false};
    std::atomic<bool> up{false};
    Event hurry{true};
    Event settled{false};
    mutable Lock currentLock;
    std::shared_ptr<FrameSocket> current GUARDED_BY(currentLock);
    std::optional<Error> lastFailure GUARDED_BY(currentLock);
    /// Held while a message is written, so that frames stay apart.
    Turn sending;
    QuietThread thread;
};

}  // namespace vantry::client
