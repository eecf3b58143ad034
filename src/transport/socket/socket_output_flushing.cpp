// What the flusher's thread does with an output whose peer reads more slowly than the hub writes;
// the states stand in socket_output.cpp.
//
// It sends what the socket accepts, and decides when to give up: a peer that doesn't read (see
// PeerProgress) fails. A lingering connection (see LingeringInput) is closed when the peer has
// ended its side, or has had everything for a while, or sends too much.

#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "runtime/clock.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_output.h"

namespace vantry {
namespace {

constexpr std::uint64_t kLingerNanoseconds = 1'000 * kNanosecondsPerMillisecond;

}  // namespace

void SocketOutput::Advance() {
    ScopedLock guard(lock);
    if (!watched) {
        return;
    }
    if (WasCut()) {
        Fail(EPIPE);
        return;
    }
    if (!waiting.Empty()) {
        SendWaiting();
    }
    changed.WakeAll();
    if (failure != 0 || !watched) {
        return;
    }
    // Input is dropped even while output waits: a peer that sends before it reads would block in
    // its send, and never read the output.
    const bool peerEnded =
        closing && lateInput.DropUntilEnd(socket->Calls(), watched->Number()) && limits.lingers;
    if (!waiting.Empty() || (lingering && Queued(watched->Number()) != 0)) {
        takenSince = NowNanoseconds();
        if (progress.HasStalled(Queued(watched->Number()), waiting.Bytes(),
                                limits.stallMilliseconds)) {
            Fail(ETIMEDOUT);
        }
        return;
    }
    if (!closing) {
        LeaveFlusher();
    } else if (limits.lingers && !lingering) {
        StartLingering();
    } else if (!lingering || peerEnded || NowNanoseconds() - takenSince >= kLingerNanoseconds) {
        LeaveFlusher();
        socket->Close();
    }
}

void SocketOutput::SendWaiting() {
    std::array<iovec, kPartsAtOnce> parts;
    const ssize_t sent = socket->Calls().SendParts(watched->Number(), waiting.First(parts));
    if (sent >= 0) {
        progress.Accepted(static_cast<std::size_t>(sent));
        waiting.Drop(static_cast<std::size_t>(sent));
    } else if (sent != -EAGAIN && sent != -EINTR) {
        FailToSend(static_cast<int>(-sent));
    }
}

void SocketOutput::StartLingering() {
    lingering = true;
    progress.StartPeriod();
    takenSince = NowNanoseconds();
    socket->Calls().ShutDown(watched->Number(), SHUT_WR);
    flusher->WatchByTime(watched->Number());
}

std::uint64_t SocketOutput::LingersSince() {
    ScopedLock guard(lock);
    return waiting.Account() ? closedAt : 0;
}

}  // namespace vantry
