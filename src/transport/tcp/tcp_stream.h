#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

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
    ~TcpStream() override {
        TcpStream::Close();
        // The output may outlive the stream, and its account with it.
        TcpStream::Account()->Leave();
    }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override;
    void Close() override;
    /// Whether nothing is written to the peer any more.
    bool IsClosed() const { return closed || socket->IsClosed(); }

private:
    /// Receives up to `length` bytes, and keeps what comes with them. The result of recv.
    ssize_t Receive(int number, std::uint8_t* buffer, std::size_t length, int flags);
    /// Copies up to `length` kept bytes. How many.
    std::size_t TakeAhead(std::uint8_t* buffer, std::size_t length);
    /// Ends reading because of an error number, or of 0 where the peer sends no more. What Read
    /// returns then.
    std::int32_t End(int error);
    /// What Write returns for `length` bytes, given the error number of the output.
    static std::int32_t ResultOf(int error, std::size_t length);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<SocketOutput> output;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
    /// Received and not yet read. Of the reading thread, like the two below.
    std::vector<std::uint8_t> ahead;
    std::size_t aheadTaken = 0;
    int lateError = 0;
    /// Set before the socket is shut down, so that a reader knows who ended it.
    std::atomic<bool> closed{false};
    /// A thread is inside a call that receives.
    std::atomic<bool> reading{false};
};

}  // namespace vantry
