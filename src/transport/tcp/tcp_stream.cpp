#include "transport/tcp/tcp_stream.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "runtime/interruptible.h"

namespace vantry {
namespace {

bool IsLostPeer(int error) { return error == ECONNABORTED || error == ETIMEDOUT; }

}  // namespace

TcpStream::TcpStream(std::uint32_t address, std::uint16_t port, int accepted,
                     const std::shared_ptr<ConnectionAccount>& account,
                     std::shared_ptr<OutputFlusher> flusher,
                     std::shared_ptr<HalfClosedStreams> halfClosedStreams)
    : SocketStream(address, port, account),
      socket(std::make_shared<SocketDescriptor>(accepted)),
      output(SocketOutput::Make(socket, std::move(flusher), {.lingers = true})),
      halfClosed(std::move(halfClosedStreams)) {
    output->ChargeTo(account);
}

std::int32_t TcpStream::Read(std::uint8_t* buffer, std::int32_t length) {
    const SocketDescriptor::Use use(*socket);
    if (!use || length <= 0) {
        return length <= 0 ? 0 : StreamCode::kError;
    }
    ssize_t count = 0;
    do {
        Interruptible here;
        count = recv(use.Number(), buffer, static_cast<std::size_t>(length), 0);
    } while (count < 0 && errno == EINTR);
    if (count > 0) {
        return static_cast<std::int32_t>(count);
    }
    const int error = count < 0 ? errno : 0;
    if (count < 0) {
        // Nothing can be sent to this peer any more either.
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
    output->Close();
}

}  // namespace vantry
