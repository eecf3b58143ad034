#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/socket_descriptor.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_output.h"
#include "transport/tcp/half_closed_streams.h"
#include "transport/tcp/socket_stream.h"

namespace vantry {

/// One TCP connection. Read waits in the socket. Write never waits for the peer: what the socket
/// doesn't take at once is kept and sent as it drains, within the limits of SocketOutput. Close
/// ends a blocked Read and still sends what is kept. A Read that fails closes the connection and
/// gives its descriptor back, however long the object lives; a peer that has only ended its sending
/// side is still written to.
class TcpStream final : public SocketStream, public std::enable_shared_from_this<TcpStream> {
public:
    /// Takes over the accepted socket. Address and port as accept gave them.
    TcpStream(std::uint32_t address, std::uint16_t port, int accepted,
              const std::shared_ptr<ConnectionAccount>& account,
              std::shared_ptr<OutputFlusher> flusher,
              std::shared_ptr<HalfClosedStreams> halfClosedStreams);
    ~TcpStream() override { TcpStream::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override;
    void Close() override;
    /// Whether nothing is written to the peer any more.
    bool IsClosed() const { return closed || socket->IsClosed(); }

private:
    /// What Write returns for `length` bytes, given the error number of the output.
    static std::int32_t ResultOf(int error, std::size_t length);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<SocketOutput> output;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
    /// Set before the socket is shut down, so that a reader knows who ended it.
    std::atomic<bool> closed{false};
};

}  // namespace vantry
