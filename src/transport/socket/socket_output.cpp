#include "transport/socket/socket_output.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
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

int SocketOutput::Write(const std::uint8_t* frame, std::size_t length) {
    ScopedLock guard(lock);
    if (failure != 0 || closing) {
        return failure != 0 ? failure : EPIPE;
    }
    std::size_t taken = 0;
    if (Waiting() == 0) {
        const std::optional<std::size_t> now = SendNow(frame, length);
        if (!now) {
            return failure;
        }
        taken = *now;
    } else if (Waiting() + length > limits.waitingBytes) {
        Fail(ETIMEDOUT);
        return failure;
    }
    if (taken < length && !Keep(frame + taken, length - taken)) {
        Fail(EPIPE);
        return failure;
    }
    return 0;
}

std::optional<std::size_t> SocketOutput::SendNow(const std::uint8_t* bytes, std::size_t length) {
    const SocketDescriptor::Use use(*socket);
    if (!use) {
        Fail(EPIPE);
        return std::nullopt;
    }
    const ssize_t count = send(use.Number(), bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
        return 0;
    }
    Fail(errno);
    return std::nullopt;
}

bool SocketOutput::Keep(const std::uint8_t* bytes, std::size_t length) {
    waiting.append(reinterpret_cast<const char*>(bytes), length);
    if (watched) {
        return true;
    }
    watched.emplace(*socket);
    lastProgress = NowNanoseconds();
    lastQueued = 0;
    if (*watched && flusher->Watch(watched->Number(), shared_from_this())) {
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
    SendWaiting();
    if (failure == 0 && Waiting() != 0) {
        if (!HasStalled()) {
            return;
        }
        Fail(ETIMEDOUT);
    }
    LeaveFlusher();
    if (closing) {
        socket->Close();
    }
}

void SocketOutput::SendWaiting() {
    const std::optional<std::size_t> count =
        SendNow(reinterpret_cast<const std::uint8_t*>(waiting.data()) + sent, Waiting());
    if (!count) {
        return;
    }
    sent += *count;
    if (*count != 0) {
        lastProgress = NowNanoseconds();
    }
    if (Waiting() == 0) {
        waiting = {};
        sent = 0;
    } else if (sent > waiting.size() / 2) {
        waiting.erase(0, sent);
        sent = 0;
    }
}

bool SocketOutput::HasStalled() {
    // A socket counts as writable only when much of its buffer is free, so a slow peer is known
    // by what it has taken out of that buffer.
    int queued = 0;
    if (ioctl(watched->Number(), SIOCOUTQ, &queued) == 0 && queued != lastQueued) {
        lastQueued = queued;
        lastProgress = NowNanoseconds();
    }
    return NowNanoseconds() - lastProgress >= limits.stallMilliseconds * kNanosecondsPerMillisecond;
}

void SocketOutput::Fail(int error) {
    failure = error;
    waiting = {};
    sent = 0;
    LeaveFlusher();
    socket->Close();
}

void SocketOutput::LeaveFlusher() {
    if (watched) {
        flusher->Forget(watched->Number());
        watched.reset();
    }
}

void SocketOutput::Close() {
    ScopedLock guard(lock);
    closing = true;
    if (watched) {
        socket->ShutDownReceiving();
    } else {
        socket->Close();
    }
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
