// Output whose writers never wait.
//
// A write first calls send without blocking. What the socket doesn't accept waits in a
// WaitingOutput. Meanwhile the flusher's thread calls Advance (socket_output_flushing.cpp) whenever
// the socket is writable, and every few milliseconds. An output is in one of these states:
//
//   open       nothing waits; a write is sent at once. The flusher doesn't know the output.
//   waiting    `waiting` isn't empty; a write is appended to the list, and the flusher sends it.
//   closing    Close was called while output waited; writes fail, and the flusher sends the rest
//              and drops input.
//   lingering  everything is sent and the sending direction is ended; the flusher reads and drops
//              input until the peer ends its side too.
//   failed     `failure` isn't 0, or the socket is closed; nothing is kept any more.
//
// open and waiting alternate. Close leads from open to lingering (TCP) or to a closed socket, and
// from waiting to closing and then on in the same way. An error of the socket and an exceeded limit
// lead from any state to failed.

#include "transport/socket/socket_output.h"

#include <cerrno>
#include <span>
#include <utility>

#include "runtime/clock.h"
#include "transport/socket/output_flusher.h"

namespace vantry {

std::shared_ptr<SocketOutput> SocketOutput::Make(std::shared_ptr<SocketDescriptor> socket,
                                                 std::shared_ptr<OutputFlusher> flusher,
                                                 OutputLimits limits) {
    return std::shared_ptr<SocketOutput>(
        new SocketOutput(std::move(socket), std::move(flusher), limits));
}

SocketOutput::SocketOutput(std::shared_ptr<SocketDescriptor> connection,
                           std::shared_ptr<OutputFlusher> sharedFlusher, OutputLimits bounds)
    : socket(std::move(connection)), flusher(std::move(sharedFlusher)), limits(bounds) {}

void SocketOutput::ChargeTo(std::shared_ptr<ConnectionAccount> owner) {
    if (owner) {
        // The stream may be gone while its last output still waits.
        owner->OnCut([held = weak_from_this()] {
            if (const std::shared_ptr<SocketOutput> output = held.lock()) {
                output->CloseNow();
            }
        });
    }
    ScopedLock guard(lock);
    waiting.ChargeTo(std::move(owner));
}

int SocketOutput::Write(const std::uint8_t* frame, std::size_t length) {
    const OutputPart whole{{reinterpret_cast<const char*>(frame), length}, nullptr};
    return WriteParts({&whole, 1}, length);
}

int SocketOutput::WriteShared(const SharedFrame& frame) {
    return WriteParts(PartsOf(frame), frame.Size());
}

int SocketOutput::WriteParts(std::span<const OutputPart> parts, std::size_t length) {
    std::optional<Bound> exceeded;
    int result = 0;
    {
        ScopedLock guard(lock);
        result = Take(parts, length, exceeded);
    }
    Enforce(exceeded);
    return result;
}

int SocketOutput::Take(std::span<const OutputPart> parts, std::size_t length,
                       std::optional<Bound>& exceeded) {
    if (failure != 0 || closing) {
        return failure != 0 ? failure : EPIPE;
    }
    if (peerHasLeft) {
        return 0;
    }
    std::size_t taken = 0;
    if (waiting.Empty()) {
        const std::optional<std::size_t> now = SendNow(parts);
        if (!now) {
            return failure;
        }
        taken = *now;
        progress.Start();
    } else if (waiting.Bytes() > limits.admittedBytes && waiting.Bytes() + length > MostWaiting()) {
        exceeded = Bound::Output;
        Fail(ETIMEDOUT);
        return failure;
    }
    if (taken == length) {
        return 0;
    }
    exceeded = waiting.Keep(parts, taken);
    if (!watched && !JoinFlusher(true)) {
        Fail(EPIPE);
        return failure;
    }
    return 0;
}

void SocketOutput::Enforce(std::optional<Bound> exceeded) {
    if (!exceeded) {
        return;
    }
    std::shared_ptr<ConnectionAccount> charged;
    {
        ScopedLock guard(lock);
        charged = waiting.Account();
    }
    if (!charged) {
        return;
    }
    if (*exceeded == Bound::Output) {
        charged->Cut(Bound::Output);
    } else {
        charged->Owner().Relieve(Resource::Output);
    }
}

bool SocketOutput::WasCut() const { return waiting.Account() && waiting.Account()->WasCut(); }

std::size_t SocketOutput::MostWaiting() const {
    const std::shared_ptr<ConnectionAccount>& account = waiting.Account();
    return account ? account->Owner().Bounds()[Bound::Output] : limits.waitingBytes;
}

std::optional<std::size_t> SocketOutput::SendNow(std::span<const OutputPart> parts) {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        Fail(EPIPE);
        return std::nullopt;
    }
    const ssize_t count = SendFirst(socket->Calls(), use.Number(), parts);
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (count == -EAGAIN || count == -EINTR) {
        return 0;
    }
    FailToSend(static_cast<int>(-count));
    return std::nullopt;
}

bool SocketOutput::JoinFlusher(bool waitsForSocket) {
    watched.emplace(*socket);
    if (*watched && flusher->Watch(watched->Number(), shared_from_this(), waitsForSocket)) {
        return true;
    }
    watched.reset();
    return false;
}

int SocketOutput::Queued(int number) const { return socket->Calls().Unreceived(number); }

std::size_t SocketOutput::Waiting() {
    ScopedLock guard(lock);
    return waiting.Bytes();
}

std::int64_t SocketOutput::Received() {
    ScopedLock guard(lock);
    const SocketDescriptor::Use use(*socket);
    return progress.Received(use ? Queued(use.Number()) : 0);
}

bool SocketOutput::AwaitPeer(std::size_t bytes, std::uint32_t stallMilliseconds) {
    const std::uint64_t stall = stallMilliseconds * kNanosecondsPerMillisecond;
    std::int64_t seen = Received();
    std::uint64_t deadline = NowNanoseconds() + stall;
    for (;;) {
        {
            ScopedLock guard(lock);
            if (waiting.Bytes() <= bytes || closing) {
                return true;
            }
            changed.WaitUntil(lock, deadline);
        }
        const std::int64_t received = Received();
        const std::uint64_t now = NowNanoseconds();
        if (received != seen) {
            seen = received;
            deadline = now + stall;
        } else if (now >= deadline) {
            return false;
        }
    }
}

void SocketOutput::FailToSend(int error) {
    if (limits.outlivesPeer && !closing && (error == EPIPE || error == ECONNRESET)) {
        peerHasLeft = true;
        DropAll();
    } else {
        Fail(error);
    }
}

void SocketOutput::Fail(int error) {
    failure = error;
    DropAll();
    socket->Close();
}

void SocketOutput::DropAll() {
    waiting.DropAll();
    LeaveFlusher();
    changed.WakeAll();
}

void SocketOutput::LeaveFlusher() {
    if (watched) {
        flusher->Forget(watched->Number());
        watched.reset();
    }
}

void SocketOutput::Close(Reading reading) {
    ScopedLock guard(lock);
    if (WasCut()) {
        Fail(EPIPE);
        return;
    }
    if (std::exchange(closing, true) || failure != 0) {
        return;
    }
    closedAt = NowNanoseconds();
    changed.WakeAll();
    if (reading == Reading::Possible) {
        socket->ShutDownReceiving();
    }
    if (!watched && (reading == Reading::AtEnd || !Linger())) {
        socket->Close();
    }
}

bool SocketOutput::Linger() {
    const SocketDescriptor::Use use(*socket);
    if (!use || lateInput.DropUntilEnd(socket->Calls(), use.Number()) || !limits.lingers ||
        !JoinFlusher(false)) {
        return false;
    }
    StartLingering();
    return true;
}

void SocketOutput::CloseNow() {
    ScopedLock guard(lock);
    Fail(EPIPE);
}

void SocketOutput::SetStallMilliseconds(std::uint32_t milliseconds) {
    ScopedLock guard(lock);
    limits.stallMilliseconds = milliseconds;
}

}  // namespace vantry
