#include "transport/tcp/tcp_stream.h"

#include <cerrno>
#include <utility>

namespace vantry {
namespace {

bool IsLostPeer(int error) { return error == ECONNABORTED || error == ETIMEDOUT; }

}  // namespace

TcpStream::TcpStream(const InternetAddress& peer, std::shared_ptr<SocketDescriptor> accepted,
                     const std::shared_ptr<ConnectionAccount>& account,
                     std::shared_ptr<OutputFlusher> flusher,
                     std::shared_ptr<HalfClosedStreams> halfClosedStreams)
    : SocketStream(peer.address, peer.port, account),
      socket(std::move(accepted)),
      input(socket->Calls()),
      output(SocketOutput::Make(socket, std::move(flusher), {.lingers = true})),
      halfClosed(std::move(halfClosedStreams)) {
    output->ChargeTo(account);
}

std::int32_t TcpStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (length <= 0) {
        return 0;
    }
    if (!socket->IsClosed() && input.ReadKept(buffer, length)) {
        return length;
    }
    const SocketDescriptor::Use use(*socket);
    if (!use || input.IsClosed()) {
        return StreamCode::kError;
    }
    const std::int32_t count = input.Read(use.Number(), buffer, length);
    return count > 0 ? count : End(-count);
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

std::int32_t TcpStream::WriteShared(const SharedFrame& frame) {
    return ResultOf(output->WriteShared(frame), frame.Size());
}

std::int32_t TcpStream::ResultOf(int error, std::size_t length) {
    if (error == 0) {
        return static_cast<std::int32_t>(length);
    }
    return IsLostPeer(error) || error == ENOBUFS ? StreamCode::kLinkLost : StreamCode::kError;
}

bool TcpStream::HasPeerGone() const {
    const SocketDescriptor::Use use(*socket);
    return IsAlive() == 0 || !use || socket->Calls().IsDisconnected(use.Number());
}

void TcpStream::Close() {
    input.Close();
    output->Close(input.HasEnded()    ? Reading::AtEnd
                  : input.IsReading() ? Reading::Possible
                                      : Reading::None);
}

}  // namespace vantry
