// The socket of a local client as a stream of its session.
//
// The session's thread receives from the socket and sends to it, so a request costs no other
// thread. What the socket doesn't accept waits in the SocketOutput, which the flusher empties.
//
// Input isn't bounded here: a session reads one message at a time, so what it hasn't asked for
// waits in the socket, and the client's own send blocks.
//
// Output: the session doesn't read the next request of a client while more than half of the bound
// is unread, as long as the client continues to read. So only two kinds of clients reach the bound:
// those that read nothing, and those that read more slowly than properties change. A frame is
// refused if it would pass the bound, unless half of the bound is free, so that an answer of any
// size reaches a client that has read most of the earlier output. The most that can be unread is
// therefore the bound, or half of it and one frame. A client may read nothing for any time, as one
// that is stopped in a debugger.

#include "host/local_stream.h"

#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <utility>

#include "runtime/clock.h"
#include "runtime/interruptible.h"

namespace vantry {
namespace {

/// The longest wait for a client that reads nothing.
constexpr std::uint32_t kStallMilliseconds = 1000;
constexpr int kLookMilliseconds = 100;
/// At a stop, a client that has received nothing for so long counts as not reading.
constexpr std::uint64_t kNotReadingNanoseconds = 200 * kNanosecondsPerMillisecond;

OutputLimits LimitsOf(std::uint64_t bound) {
    return {.stallMilliseconds = std::numeric_limits<std::uint32_t>::max(),
            .waitingBytes = bound,
            .admittedBytes = bound / 2,
            .outlivesPeer = true};
}

}  // namespace

LocalStream::LocalStream(int accepted, std::shared_ptr<OutputFlusher> flusher, const Limits& limits,
                         Notices& hubNotices)
    : outputBound(limits[Bound::LocalOutput]),
      notices(hubNotices),
      socket(std::make_shared<SocketDescriptor>(Descriptors::OfSystem(), accepted)),
      input(socket->Calls(), limits[Bound::LocalInput]),
      output(SocketOutput::Make(socket, std::move(flusher), LimitsOf(outputBound))) {}

std::int32_t LocalStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (length <= 0) {
        return 0;
    }
    AwaitReadingClient();
    const SocketDescriptor::Use use(*socket);
    const std::int32_t count = use ? input.Read(use.Number(), buffer, length) : 0;
    if (count > 0) {
        return count;
    }
    if (use && count == 0) {
        AwaitHangUp(use.Number());
    }
    // What is still written to the client can reach nobody.
    GiveUp();
    readToEnd = true;
    return StreamCode::kEndOfData;
}

void LocalStream::AwaitReadingClient() {
    const std::size_t half = outputBound / 2;
    if (output->Waiting() <= half || (hasStalled && output->Received() == receivedAtStall)) {
        return;
    }
    hasStalled = !output->AwaitPeer(half, kStallMilliseconds);
    receivedAtStall = output->Received();
}

void LocalStream::AwaitHangUp(int number) {
    int ending = 0;
    {
        ScopedLock guard(endLock);
        if (inputEnded || input.IsClosed()) {
            return;
        }
        ending = hangUpIsAwaited.emplace(Descriptors::OfSystem()).Number();
    }
    // A hang-up is reported even if no event is asked for. Without a descriptor for the wake-up,
    // the flags are looked at now and then.
    std::array<pollfd, 2> waits{{{number, 0, 0}, {ending, POLLIN, 0}}};
    {
        Interruptible here;
        while (poll(waits.data(), waits.size(), ending < 0 ? kLookMilliseconds : -1) <= 0 &&
               !inputEnded && !input.IsClosed()) {
        }
    }
    // Properties that the client has reported may keep the stream for ever.
    ScopedLock guard(endLock);
    hangUpIsAwaited.reset();
}

void LocalStream::EndAwaiting() {
    ScopedLock guard(endLock);
    if (hangUpIsAwaited) {
        hangUpIsAwaited->Ring();
    }
}

std::int32_t LocalStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    const auto size = static_cast<std::size_t>(length);
    return ResultOf(output->Write(buffer, size), size);
}

std::int32_t LocalStream::WriteShared(const SharedFrame& frame) {
    return ResultOf(output->WriteShared(frame), frame.Size());
}

std::int32_t LocalStream::ResultOf(int error, std::size_t length) {
    // The output has no other time limit that could fail.
    if (error == ETIMEDOUT && !wasCut.exchange(true)) {
        notices.TellClosed(Bound::LocalOutput, "a client of PRN1");
    }
    return error == 0 ? static_cast<std::int32_t>(length) : StreamCode::kEndOfData;
}

void LocalStream::Close() {
    if (input.IsClosed()) {
        return;
    }
    input.Close();
    EndAwaiting();
    output->Close();
}

void LocalStream::EndInput() {
    inputEnded = true;
    EndAwaiting();
    socket->ShutDownReceiving();
}

bool LocalStream::IsIdle() {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        return true;
    }
    {
        ScopedLock guard(endLock);
        if (hangUpIsAwaited) {
            return IsOutputDone();
        }
    }
    int unread = 0;
    return input.IsReading() && ioctl(use.Number(), FIONREAD, &unread) == 0 && unread == 0 &&
           IsOutputDone();
}

bool LocalStream::IsFinished() { return readToEnd && IsOutputDone(); }

bool LocalStream::IsOutputDone() {
    if (output->Waiting() == 0) {
        return true;
    }
    const std::uint64_t now = NowNanoseconds();
    const std::int64_t received = output->Received();
    if (received != std::exchange(receivedBefore, received) || lastProgress == 0) {
        lastProgress = now;
    }
    return now - lastProgress > kNotReadingNanoseconds;
}

}  // namespace vantry
