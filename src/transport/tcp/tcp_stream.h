#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/socket_descriptor.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_input.h"
#include "transport/socket/socket_output.h"
#include "transport/tcp/half_closed_streams.h"
#include "transport/tcp/socket_stream.h"

namespace vantry {

/// A TCP connection. Read blocks in the socket. Write never waits for the peer: what the socket
/// doesn't accept at once is kept and sent later, within the limits of SocketOutput. Close ends a
/// blocking Read, and what is kept is still sent. A Read that fails closes the descriptor at once,
/// even if other owners keep the object for longer. If the peer has only ended its sending side,
/// Read returns kError but Write still works.
class TcpStream final : public SocketStream, public std::enable_shared_from_this<TcpStream> {
public:
    /// Becomes the owner of the accepted socket.
    TcpStream(const InternetAddress& peer, std::shared_ptr<SocketDescriptor> accepted,
              const std::shared_ptr<ConnectionAccount>& account,
              std::shared_ptr<OutputFlusher> flusher,
              std::shared_ptr<HalfClosedStreams> halfClosedStreams);
    ~TcpStream() override {
        TcpStream::Close();
        // The output may outlive the stream, and so does its account then.
        TcpStream::Account()->Leave();
    }

    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const SharedFrame& frame) override;
    void Close() override;
    void ReleaseInput() override { input.Release(); }
    std::uint32_t IsAlive() const override { return IsClosed() ? 0 : SocketStream::IsAlive(); }
    bool HasPeerGone() const override;
    /// Returns whether the stream was closed, so that nothing more can be written.
    bool IsClosed() const { return input.IsClosed() || socket->IsClosed(); }

private:
    /// Ends reading because of an error number, or of 0 if the peer sends no more. Returns the
    /// result for Read.
    std::int32_t End(int error);
    /// Returns the result of Write for `length` bytes and an error number of the output.
    static std::int32_t ResultOf(int error, std::size_t length);

    const std::shared_ptr<SocketDescriptor> socket;
    SocketInput input;
    const std::shared_ptr<SocketOutput> output;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
};

}  // namespace vantry
