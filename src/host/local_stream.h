#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/limits.h"
#include "platform/notices.h"
#include "platform/socket_descriptor.h"
#include "platform/wake_up.h"
#include "runtime/lock.h"
#include "transport/socket/output_flusher.h"
#include "transport/socket/socket_input.h"
#include "transport/socket/socket_output.h"
#include "transport/stream/stream.h"

namespace vantry {

/// A client of the local device: an internal stream over its socket, which the thread of its
/// session reads.
///
/// What a client has sent is read to the end, even if it has disconnected. A client that has ended
/// its sending side still receives: Read blocks until it disconnects. A client that leaves more
/// output unread than Bound::LocalOutput is closed, and the operator is notified.
class LocalStream final : public Stream {
public:
    /// Becomes the owner of the accepted descriptor. `hubNotices` must outlive the stream.
    LocalStream(int accepted, std::shared_ptr<OutputFlusher> flusher, const Limits& limits,
                Notices& hubNotices);
    ~LocalStream() override { LocalStream::Close(); }

    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const SharedFrame& frame) override;
    /// Ends reading at once; what was written is still sent.
    void Close() override;
    void ReleaseInput() override { input.Release(); }
    std::uint32_t IsAlive() const override { return input.IsClosed() ? 0 : Stream::IsAlive(); }

    /// Accepts no more input. What the client has sent before is still read; then the session ends.
    /// Any thread may call it; it doesn't block.
    void EndInput();
    /// Returns whether the session waits for input and the client has received its output, or reads
    /// none. One thread calls this and the next operation.
    bool IsIdle();
    /// Returns whether the session has ended and the client has received its output, or reads none.
    bool IsFinished();

private:
    void AwaitReadingClient();
    /// Blocks until the client has disconnected, unless EndInput was called.
    void AwaitHangUp(int number);
    /// Ends AwaitHangUp after one of its flags was set.
    void EndAwaiting();
    std::int32_t ResultOf(int error, std::size_t length);
    bool IsOutputDone();

    const std::uint64_t outputBound;
    Notices& notices;
    const std::shared_ptr<SocketDescriptor> socket;
    SocketInput input;
    const std::shared_ptr<SocketOutput> output;
    std::atomic<bool> inputEnded{false};
    Mutex endLock;
    /// Exists while AwaitHangUp blocks.
    std::optional<WakeUp> hangUpIsAwaited GUARDED_BY(endLock);
    std::atomic<bool> readToEnd{false};
    std::atomic<bool> wasCut{false};
    /// What the client had received when a wait for it last timed out. Only the reader uses these
    /// two.
    std::int64_t receivedAtStall = 0;
    bool hasStalled = false;
    /// What the client had received when IsOutputDone last saw it receive something, and the time.
    std::int64_t receivedBefore = 0;
    std::uint64_t lastProgress = 0;
};

}  // namespace vantry
