#include "client/channel.h"

#include <algorithm>
#include <utility>

namespace vantry::client {

Channel::Channel(Endpoint hubEndpoint, ChannelTiming waits, Callbacks reactions)
    : endpoint(std::move(hubEndpoint)), timing(waits), callbacks(std::move(reactions)) {}

Channel::~Channel() {
    stopping = true;
    Restart();
    thread.Join();
}

bool Channel::Start(std::shared_ptr<FrameSocket> connected) {
    return thread.Start([this, first = std::move(connected)] { Run(first); });
}

void Channel::Run(std::shared_ptr<FrameSocket> first) {
    std::uint32_t pause = timing.firstPauseMilliseconds;
    while (!stopping) {
        std::shared_ptr<FrameSocket> socket = std::exchange(first, nullptr);
        if (!socket) {
            const auto connected = FrameSocket::Connect(endpoint, timing.deadlineMilliseconds);
            socket = connected ? *connected : nullptr;
        }
        if (socket) {
            SetCurrent(socket);
            if (!stopping && callbacks.restore(*socket)) {
                pause = timing.firstPauseMilliseconds;
                Serve(socket);
            }
            SetCurrent(nullptr);
        }
        if (!stopping && !hurry.Wait(pause)) {
            pause = std::min(pause * 2, timing.longestPauseMilliseconds);
        }
    }
}

void Channel::Serve(const std::shared_ptr<FrameSocket>& socket) {
    up = true;
    callbacks.onState(true);
    for (;;) {
        const auto message = socket->Receive(FrameSocket::kForever);
        if (!message || stopping) {
            break;
        }
        callbacks.onMessage(**message);
    }
    up = false;
    // An end that was asked for is no news.
    if (!stopping) {
        callbacks.onState(false);
    }
}

Outcome Channel::Send(PropertyMessage& message) {
    const std::shared_ptr<FrameSocket> socket = Current();
    if (!socket || !up) {
        return Error{ErrorCode::NoConnection, "there is no connection to the hub at the moment"};
    }
    ScopedLock guard(sendLock);
    return socket->Send(message, timing.deadlineMilliseconds);
}

void Channel::Restart() {
    if (const std::shared_ptr<FrameSocket> socket = Current()) {
        socket->Abort();
    }
    hurry.Set();
}

std::shared_ptr<FrameSocket> Channel::Current() const {
    ScopedLock guard(currentLock);
    return current;
}

void Channel::SetCurrent(std::shared_ptr<FrameSocket> socket) {
    ScopedLock guard(currentLock);
    current = std::move(socket);
}

}  // namespace vantry::client
