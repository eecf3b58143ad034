// Reading ahead.
//
// A Read receives more bytes than it returns, and keeps the rest for the Reads that follow, so a
// small request needs one system call. Each Read still returns what a plain recv of its length
// would have returned, because bytes that wait in the socket are added to those that are kept; so
// the look-ahead windows of a session are the same as without reading ahead. An error that occurs
// while bytes are kept is returned by the Read after them, as the socket itself would do.

#include "transport/tcp/tcp_stream.h"

#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "runtime/interruptible.h"

namespace vantry {
namespace {

/// How many bytes beyond its length a Read may receive.
constexpr std::size_t kReadAhead = 16U << 10U;
/// The largest buffer that a connection keeps while it is idle.
constexpr std::size_t kKeptCapacity = 512;

bool IsLostPeer(int error) { return error == ECONNABORTED || error == ETIMEDOUT; }

}  // namespace

TcpStream::TcpStream(const InternetAddress& peer, std::shared_ptr<SocketDescriptor> accepted,
                     const std::shared_ptr<ConnectionAccount>& account,
                     std::shared_ptr<OutputFlusher> flusher,
                     std::shared_ptr<HalfClosedStreams> halfClosedStreams)
    : SocketStream(peer.address, peer.port, account),
      socket(std::move(accepted)),
      output(SocketOutput::Make(socket, std::move(flusher), {.lingers = true})),
      halfClosed(std::move(halfClosedStreams)) {
    output->ChargeTo(account);
}

std::int32_t TcpStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (length <= 0) {
        return 0;
    }
    const SocketDescriptor::Use use(*socket);
    if (!use || closed) {
        return StreamCode::kError;
    }
    const auto wanted = static_cast<std::size_t>(length);
    const std::size_t kept = TakeAhead(buffer, wanted);
    if (kept == wanted) {
        return length;
    }
    if (kept == 0 && lateError != 0) {
        return End(lateError);
    }
    // A Read that has kept bytes to return doesn't wait for more.
    const ssize_t count = Receive(use.Number(), buffer + kept, wanted - kept, kept == 0);
    const int error = count < 0 ? static_cast<int>(-count) : 0;
    if (count > 0) {
        return static_cast<std::int32_t>(kept + static_cast<std::size_t>(count));
    }
    if (kept == 0) {
        return End(error);
    }
    if (error != EAGAIN) {
        lateError = error;
    }
    return static_cast<std::int32_t>(kept);
}

ssize_t TcpStream::Receive(int number, std::uint8_t* buffer, std::size_t length, bool waits) {
    std::array<std::uint8_t, kReadAhead> more;
    std::array<iovec, 2> parts{{{buffer, length}, {more.data(), more.size()}}};
    ssize_t count = 0;
    do {
        // The order matters: either Close sees that a thread is receiving, or this thread sees that
        // the stream is closed.
        reading = true;
        if (closed) {
            reading = false;
            return 0;
        }
        Interruptible here;
        count = socket->Calls().Receive(number, parts, waits);
        reading = false;
    } while (count == -EINTR);
    if (count > 0 && static_cast<std::size_t>(count) > length) {
        ahead.assign(more.data(), more.data() + (static_cast<std::size_t>(count) - length));
        return static_cast<ssize_t>(length);
    }
    return count;
}

std::size_t TcpStream::TakeAhead(std::uint8_t* buffer, std::size_t length) {
    const std::size_t count = std::min(length, ahead.size() - aheadTaken);
    std::copy_n(ahead.data() + aheadTaken, count, buffer);
    aheadTaken += count;
    if (aheadTaken == ahead.size()) {
        aheadTaken = 0;
        ahead.clear();
        if (ahead.capacity() > kKeptCapacity) {
            ahead.shrink_to_fit();
        }
    }
    return count;
}

std::int32_t TcpStream::End(int error) {
    if (error != 0) {
        // After an error nothing can be sent to the peer either.
        output->CloseNow();
        GiveUp();
    } else if (!IsClosed()) {
        halfClosed->Add(weak_from_this());
    }
    return IsLostPeer(error) ? StreamCode::kLinkLost : StreamCode::kError;
}

std::int32_t TcpStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    const auto size = static_cast<std::size_t>(length);
    return ResultOf(output->Write(buffer, size), size);
}

std::int32_t TcpStream::WriteShared(const std::shared_ptr<const std::string>& frame) {
    return ResultOf(output->WriteShared(frame), frame->size());
}

std::int32_t TcpStream::ResultOf(int error, std::size_t length) {
    if (error == 0) {
        return static_cast<std::int32_t>(length);
    }
    return IsLostPeer(error) || error == ENOBUFS ? StreamCode::kLinkLost : StreamCode::kError;
}

void TcpStream::Close() {
    closed = true;
    output->Close(reading);
}

}  // namespace vantry
