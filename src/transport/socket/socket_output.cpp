// Output whose writers never wait.
//
// A write first calls send without blocking. What the socket doesn't accept waits in a list of
// pieces: copies, or references to texts that several connections share. While pieces wait, the
// flusher's thread calls Advance whenever the socket is writable, and every few milliseconds. An
// output is in one of these states:
//
//   open       nothing waits; a write is sent at once. The flusher doesn't know the output.
//   waiting    `waiting` isn't 0; a write is appended to the list, and the flusher sends it.
//   closing    Close was called while output waited; writes fail, and the flusher sends the rest.
//   lingering  everything is sent and the sending direction is ended; the flusher reads and drops
//              input until the peer ends its side too.
//   failed     `failure` isn't 0, or the socket is closed; nothing is kept any more.
//
// open and waiting alternate. Close leads from open to lingering (TCP) or to a closed socket, and
// from waiting to closing and then on in the same way. An error of the socket and an exceeded limit
// lead from any state to failed.
//
// A peer must receive a part of what waits in each period, so one that reads a byte now and then
// can't make the hub keep much memory for long. How much it has received is what the socket
// accepted less what is still queued there. Whether the socket is writable says too little, because
// that needs much free space in its buffer.
//
// A TCP connection that is closed with unread input is reset, and a reset drops what the peer
// hasn't received. That is why it lingers: it is closed when the peer has ended its side, or has
// had everything for a while, or sends too much.

#include "transport/socket/socket_output.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>

#include "runtime/clock.h"
#include "transport/socket/output_flusher.h"

namespace vantry {
namespace {

/// Shorter texts are appended to the piece before them, because a piece costs more than such a
/// text.
constexpr std::size_t kShort = 4U << 10U;
constexpr std::size_t kLongestJoined = 64U << 10U;
/// A peer must receive one part in so many of what waits within the stall time.
constexpr std::size_t kPartDue = 256;
constexpr std::uint64_t kLingerNanoseconds = 1'000 * kNanosecondsPerMillisecond;
constexpr std::size_t kMostThrownAway = 16U << 20U;
constexpr std::size_t kThrowsAtOnce = 64;
/// How many texts are sent with one call.
constexpr std::size_t kPartsAtOnce = 16;

iovec VectorOf(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

}  // namespace

std::shared_ptr<SocketOutput> SocketOutput::Make(std::shared_ptr<SocketDescriptor> socket,
                                                 std::shared_ptr<OutputFlusher> flusher,
                                                 OutputLimits limits) {
    return std::shared_ptr<SocketOutput>(
        new SocketOutput(std::move(socket), std::move(flusher), limits));
}

SocketOutput::SocketOutput(std::shared_ptr<SocketDescriptor> connection,
                           std::shared_ptr<OutputFlusher> sharedFlusher, OutputLimits bounds)
    : socket(std::move(connection)), flusher(std::move(sharedFlusher)), limits(bounds) {}

SocketOutput::~SocketOutput() {
    ScopedLock guard(lock);
    while (!pieces.empty()) {
        DropFirst();
    }
}

void SocketOutput::ChargeTo(std::shared_ptr<ConnectionAccount> owner) {
    ScopedLock guard(lock);
    account = std::move(owner);
}

int SocketOutput::Write(const std::uint8_t* frame, std::size_t length) {
    const Part whole{{reinterpret_cast<const char*>(frame), length}, nullptr};
    return WriteParts({&whole, 1}, length);
}

int SocketOutput::WriteShared(const SharedFrame& frame) {
    std::vector<Part> parts;
    parts.reserve(frame.Texts().size());
    for (const SharedFrame::Text& text : frame.Texts()) {
        parts.push_back({*text, text});
    }
    return WriteParts(parts, frame.Size());
}

int SocketOutput::WriteParts(std::span<const Part> parts, std::size_t length) {
    std::optional<Bound> exceeded;
    int result = 0;
    {
        ScopedLock guard(lock);
        result = Take(parts, length, exceeded);
    }
    Enforce(exceeded);
    return result;
}

int SocketOutput::Take(std::span<const Part> parts, std::size_t length,
                       std::optional<Bound>& exceeded) {
    if (failure != 0 || closing) {
        return failure != 0 ? failure : EPIPE;
    }
    if (peerHasLeft) {
        return 0;
    }
    std::size_t taken = 0;
    if (waiting == 0) {
        const std::optional<std::size_t> now = SendNow(parts);
        if (!now) {
            return failure;
        }
        taken = *now;
        StartProgress();
    } else if (waiting > limits.admittedBytes && waiting + length > MostWaiting()) {
        exceeded = Bound::Output;
        Fail(ETIMEDOUT);
        return failure;
    }
    if (taken == length) {
        return 0;
    }
    exceeded = Keep(parts, taken);
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
        charged = account;
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

std::size_t SocketOutput::MostWaiting() const {
    return account ? account->Owner().Bounds()[Bound::Output] : limits.waitingBytes;
}

std::optional<std::size_t> SocketOutput::SendNow(std::span<const Part> parts) {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        Fail(EPIPE);
        return std::nullopt;
    }
    ssize_t count = 0;
    if (parts.size() == 1) {
        count = socket->Calls().Send(use.Number(), parts.front().text);
    } else {
        std::array<iovec, kPartsAtOnce> texts;
        const std::size_t most = std::min(parts.size(), texts.size());
        for (std::size_t place = 0; place < most; ++place) {
            texts[place] = VectorOf(parts[place].text);
        }
        count = socket->Calls().SendParts(use.Number(), std::span(texts).first(most));
    }
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (count == -EAGAIN || count == -EINTR) {
        return 0;
    }
    FailToSend(static_cast<int>(-count));
    return std::nullopt;
}

std::optional<Bound> SocketOutput::Keep(std::span<const Part> parts, std::size_t taken) {
    std::optional<Bound> exceeded;
    for (const Part& part : parts) {
        const std::size_t skipped = std::min(taken, part.text.size());
        taken -= skipped;
        if (skipped < part.text.size()) {
            const std::optional<Bound> now = KeepPart(part, part.text.substr(skipped));
            exceeded = now ? now : exceeded;
        }
    }
    return exceeded;
}

std::optional<Bound> SocketOutput::KeepPart(const Part& part, std::string_view rest) {
    waiting += rest.size();
    if (part.shared && rest.size() >= kShort) {
        if (pieces.empty()) {
            sentOfFirst = part.text.size() - rest.size();
        }
        pieces.push_back({{}, part.shared});
        return account ? account->AddShared(part.shared.get(), part.text.size()) : std::nullopt;
    }
    const bool joins = !pieces.empty() && !pieces.back().shared && rest.size() < kShort &&
                       pieces.back().own.size() < kLongestJoined;
    if (!joins) {
        pieces.emplace_back();
    }
    pieces.back().own.append(rest);
    return account ? account->Add(Resource::Output, rest.size()) : std::nullopt;
}

bool SocketOutput::JoinFlusher(bool waitsForSocket) {
    watched.emplace(*socket);
    if (*watched && flusher->Watch(watched->Number(), shared_from_this(), waitsForSocket)) {
        return true;
    }
    watched.reset();
    return false;
}

void SocketOutput::Advance() {
    ScopedLock guard(lock);
    if (!watched) {
        return;
    }
    if (account && account->WasCut()) {
        Fail(EPIPE);
        return;
    }
    if (waiting != 0) {
        SendWaiting();
    }
    changed.WakeAll();
    if (failure != 0 || !watched) {
        return;
    }
    // Input is dropped even while output waits: a peer that sends before it reads would block in
    // its send, and never read the output.
    const bool peerEnded = closing && limits.lingers && HasPeerEnded(watched->Number());
    if (waiting != 0 || (lingering && Queued(watched->Number()) != 0)) {
        takenSince = NowNanoseconds();
        if (HasStalled()) {
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
    std::size_t count = 0;
    std::size_t skip = sentOfFirst;
    for (auto piece = pieces.begin(); piece != pieces.end() && count < parts.size(); ++piece) {
        const std::string_view text = piece->Text().substr(std::exchange(skip, 0));
        parts[count++] = VectorOf(text);
    }
    const ssize_t sent =
        socket->Calls().SendParts(watched->Number(), std::span(parts).first(count));
    if (sent >= 0) {
        DropTaken(static_cast<std::size_t>(sent));
    } else if (sent != -EAGAIN && sent != -EINTR) {
        FailToSend(static_cast<int>(-sent));
    }
}

void SocketOutput::DropTaken(std::size_t count) {
    waiting -= count;
    given += static_cast<std::int64_t>(count);
    sentOfFirst += count;
    while (!pieces.empty() && sentOfFirst >= pieces.front().Text().size()) {
        sentOfFirst -= pieces.front().Text().size();
        DropFirst();
    }
}

void SocketOutput::DropFirst() {
    const Piece& first = pieces.front();
    if (account && first.shared) {
        account->RemoveShared(first.shared.get());
    } else if (account) {
        account->Remove(Resource::Output, first.own.size());
    }
    pieces.pop_front();
}

int SocketOutput::Queued(int number) const { return socket->Calls().Unreceived(number); }

std::size_t SocketOutput::Waiting() {
    ScopedLock guard(lock);
    return waiting;
}

std::int64_t SocketOutput::Received() {
    ScopedLock guard(lock);
    const SocketDescriptor::Use use(*socket);
    return use ? given - Queued(use.Number()) : given;
}

bool SocketOutput::AwaitPeer(std::size_t bytes, std::uint32_t stallMilliseconds) {
    const std::uint64_t stall = stallMilliseconds * kNanosecondsPerMillisecond;
    std::int64_t seen = Received();
    std::uint64_t deadline = NowNanoseconds() + stall;
    for (;;) {
        {
            ScopedLock guard(lock);
            if (waiting <= bytes || closing) {
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

void SocketOutput::StartProgress() {
    given = 0;
    windowStart = 0;
}

bool SocketOutput::HasStalled() {
    const std::int64_t taken = given - Queued(watched->Number());
    const std::uint64_t now = NowNanoseconds();
    if (windowStart == 0 || taken - takenAtStart >= due) {
        windowStart = now;
        takenAtStart = taken;
        due = static_cast<std::int64_t>(waiting / kPartDue + 1);
        return false;
    }
    return now - windowStart >= limits.stallMilliseconds * kNanosecondsPerMillisecond;
}

void SocketOutput::StartLingering() {
    lingering = true;
    windowStart = 0;
    takenSince = NowNanoseconds();
    socket->Calls().ShutDown(watched->Number(), SHUT_WR);
    flusher->WatchByTime(watched->Number());
}

bool SocketOutput::HasPeerEnded(int number) {
    std::array<char, 16U << 10U> thrown;
    for (std::size_t times = 0; times < kThrowsAtOnce; ++times) {
        iovec part{thrown.data(), thrown.size()};
        const ssize_t count = socket->Calls().Receive(number, {&part, 1}, false);
        if (count <= 0) {
            break;
        }
        thrownAway += static_cast<std::size_t>(count);
    }
    // The result of recv can't be used: the receiving direction may have been shut down in order to
    // end a reader's call. The state of the connection shows whether the peer has ended its side.
    return thrownAway > kMostThrownAway || socket->Calls().HasPeerEnded(number);
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
    while (!pieces.empty()) {
        DropFirst();
    }
    waiting = 0;
    sentOfFirst = 0;
    LeaveFlusher();
    changed.WakeAll();
}

void SocketOutput::LeaveFlusher() {
    if (watched) {
        flusher->Forget(watched->Number());
        watched.reset();
    }
}

void SocketOutput::Close(bool mayHaveReader) {
    ScopedLock guard(lock);
    if (account && account->WasCut()) {
        Fail(EPIPE);
        return;
    }
    if (std::exchange(closing, true) || failure != 0) {
        return;
    }
    closedAt = NowNanoseconds();
    changed.WakeAll();
    if (mayHaveReader) {
        socket->ShutDownReceiving();
    }
    if (watched) {
        return;
    }
    if (limits.lingers) {
        const SocketDescriptor::Use use(*socket);
        if (use && !HasPeerEnded(use.Number()) && JoinFlusher(false)) {
            StartLingering();
            return;
        }
    }
    socket->Close();
}

std::uint64_t SocketOutput::LingersSince() {
    ScopedLock guard(lock);
    return account ? closedAt : 0;
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
