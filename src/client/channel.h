#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "client/endpoint.h"
#include "client/frame_socket.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"

namespace vantry::client {

/// How a channel waits.
struct ChannelTiming {
    std::uint32_t deadlineMilliseconds;
    std::uint32_t firstPauseMilliseconds;
    std::uint32_t longestPauseMilliseconds;
};

/// A connection that comes back: a thread connects, restores what was agreed on, hands on what
/// arrives, and starts over when the connection is gone.
class Channel {
public:
    struct Callbacks {
        /// Makes the fresh connection what the old one was, before anybody else uses it. False if
        /// it was lost again.
        std::function<bool(FrameSocket&)> restore;
        std::function<void(const PropertyMessage&)> onMessage;
        std::function<void(bool connected)> onState;
    };

    Channel(Endpoint hubEndpoint, ChannelTiming waits, Callbacks reactions);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Goes on with a connection that is there already, or connects first.
    [[nodiscard]] bool Start(std::shared_ptr<FrameSocket> connected = nullptr);
    /// Sends over the connection; fails at once while there is none.
    Outcome Send(PropertyMessage& message);
    /// Gives the present connection up and connects anew at once.
    void Restart();
    bool IsUp() const { return up; }

private:
    void Run(std::shared_ptr<FrameSocket> first);
    void Serve(const std::shared_ptr<FrameSocket>& socket);
    std::shared_ptr<FrameSocket> Current() const;
    void SetCurrent(std::shared_ptr<FrameSocket> socket);

    const Endpoint endpoint;
    const ChannelTiming timing;
    const Callbacks callbacks;
    std::atomic<bool> stopping{false};
    std::atomic<bool> up{false};
    Event hurry{true};
    Lock currentLock;
    std::shared_ptr<FrameSocket> current GUARDED_BY(currentLock);
    Lock sendLock;
    NativeThread thread;
};

}  // namespace vantry::client
