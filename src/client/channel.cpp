// A connection that is established again whenever it is lost.
//
// One thread does everything that takes long: it connects, restores the state, receives, and pauses
// before the next attempt. The pause doubles as long as no message arrives, so that a hub which
// accepts and closes connections isn't contacted ten times a second. Messages are sent by the
// threads that call Send. The socket is shared, so a thread that sends may still use it when the
// channel's thread has replaced it; Abort makes both operations fail.

#include "client/channel.h"

#include <algorithm>
#include <utility>

#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// The time that the hub has to close a connection after the disconnect message.
constexpr std::uint32_t kGoodbyeMilliseconds = 300;

}  // namespace

Channel::Channel(Endpoint hubEndpoint, ChannelTiming waits, Callbacks reactions)
    : endpoint(std::move(hubEndpoint)), timing(waits), callbacks(std::move(reactions)) {}

Channel::~Channel() { Stop(); }

bool Channel::Start(std::shared_ptr<FrameSocket> connected) {
    return thread.Start([this, first = std::move(connected)] { Run(first); });
}

void Channel::Run(std::shared_ptr<FrameSocket> first) {
    std::uint32_t pause = timing.firstPauseMilliseconds;
    while (!stopping) {
        std::shared_ptr<FrameSocket> socket = std::exchange(first, nullptr);
        Outcome end = Done{};
        if (!socket) {
            const auto connected = FrameSocket::Connect(
                endpoint, Deadline::In(timing.deadlineMilliseconds), timing.longestText, &stop);
            end = connected ? Outcome(Done{}) : Outcome(connected.error());
            socket = connected ? *connected : nullptr;
        }
        if (socket) {
            end = ServeOnce(socket);
        }
        if (!end && !stopping) {
            Settle(end);
            callbacks.onFailure(end.error());
        }
        if (socket && socket->HasReceived()) {
            pause = timing.firstPauseMilliseconds;
        }
        if (!stopping && !hurry.Wait(pause)) {
            pause = std::min(pause * 2, timing.longestPauseMilliseconds);
        }
    }
}

Outcome Channel::ServeOnce(const std::shared_ptr<FrameSocket>& socket) {
    SetCurrent(socket);
    Outcome end = stopping ? Outcome(Done{}) : callbacks.restore(*socket);
    if (end) {
        end = Serve(*socket);
    }
    socket->Abort();
    SetCurrent(nullptr);
    return end;
}

Outcome Channel::Serve(FrameSocket& socket) {
    up = true;
    // Stop, which may have looked before the channel was up, leaves such a connection to this
    // thread.
    if (stopping) {
        Leave(socket);
        up = false;
        return Done{};
    }
    callbacks.onState(true);
    Settle(Done{});
    Outcome end = Done{};
    while (end) {
        auto message = socket.Receive(Deadline::Never());
        if (!message) {
            end = message.error();
        } else if (!stopping) {
            callbacks.onMessage(std::move(*message));
        }
    }
    {
        ScopedLock guard(currentLock);
        lastFailure = end.error();
    }
    up = false;
    // An end that Stop has caused isn't reported.
    if (!stopping) {
        callbacks.onState(false);
    }
    return socket.HasReceived() ? Outcome(Done{}) : end;
}

void Channel::Settle(const Outcome& outcome) {
    {
        ScopedLock guard(currentLock);
        lastFailure = outcome ? std::nullopt : std::optional(outcome.error());
    }
    settled.Set();
}

Outcome Channel::WaitUntilSettled(const Deadline& deadline) {
    if (!settled.Wait(deadline.Left())) {
        return Error{ErrorCode::TimedOut,
                     "the hub at " + endpoint.Name() + " did not answer in time"};
    }
    return up ? Outcome(Done{}) : Outcome(WhyDown());
}

Error Channel::WhyDown() const {
    ScopedLock guard(currentLock);
    return lastFailure.value_or(
        Error{ErrorCode::NoConnection, "there is no connection to the hub at the moment"});
}

Outcome Channel::Send(const PropertyMessage& message, const Deadline& deadline) {
    const ScopedTurn turn(sending, deadline);
    if (!turn) {
        return Error{ErrorCode::TimedOut, "the hub did not take the messages before in time"};
    }
    const std::shared_ptr<FrameSocket> socket = Current();
    if (!socket || !up) {
        return Error{ErrorCode::NoConnection, WhyDown().text};
    }
    return socket->Send(message, deadline);
}

void Channel::Restart() {
    if (const std::shared_ptr<FrameSocket> socket = Current()) {
        socket->Abort();
    }
    hurry.Set();
}

Outcome Channel::SayGoodbye() {
    PropertyMessage goodbye;
    goodbye.EncodeDisconnect();
    return Send(goodbye, Deadline::In(kGoodbyeMilliseconds));
}

void Channel::Leave(FrameSocket& socket) {
    const Deadline deadline = Deadline::In(kGoodbyeMilliseconds);
    if (SayGoodbye()) {
        while (socket.Receive(deadline)) {
        }
    }
}

void Channel::Stop() {
    stopping = true;
    stop.Set();
    // A connection whose state is being restored is ended by the channel's thread.
    if (up ? bool(SayGoodbye()) : Current() != nullptr) {
        static_cast<void>(thread.WaitForEnd(kGoodbyeMilliseconds));
    }
    Restart();
    thread.Join();
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
