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
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override;
    void Close() override;
    /// Returns whether the stream was closed, so that nothing more can be written.
    bool IsClosed() const { return closed || socket->IsClosed(); }

private:
    /// Receives at most `length` bytes into `buffer`, and keeps the bytes that were received behind
    /// them. Returns what Descriptors::Receive would have returned for `length`.
    ssize_t Receive(int number, std::uint8_t* buffer, std::size_t length, bool waits);
    /// Copies at most `length` kept bytes and consumes them. Returns their number.
    std::size_t TakeAhead(std::uint8_t* buffer, std::size_t length);
    /// Ends reading because of an error number, or of 0 if the peer sends no more. Returns the
    /// result for Read.
    std::int32_t End(int error);
    /// Returns the result of Write for `length` bytes and an error number of the output.
    static std::int32_t ResultOf(int error, std::size_t length);

    const std::shared_ptr<SocketDescriptor> socket;
    const std::shared_ptr<SocketOutput> output;
    const std::shared_ptr<HalfClosedStreams> halfClosed;
    /// Bytes that were received and not yet read. Only the reading thread uses this and the next
    /// two fields.
    std::vector<std::uint8_t> ahead;
    std::size_t aheadTaken = 0;
    int lateError = 0;
    /// Set before the socket is shut down, so that a reader can distinguish Close from an end by
    /// the peer.
    std::atomic<bool> closed{false};
    /// Whether a thread is inside a call that receives.
    std::atomic<bool> reading{false};
};

}  // namespace vantry
