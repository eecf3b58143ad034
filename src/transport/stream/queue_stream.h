#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <variant>

#include "runtime/event_flags.h"
#include "runtime/lock.h"
#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// An unbounded first-in-first-out queue of bytes between threads. Write never blocks; Read blocks
/// until there is data or the queue is closed. What is in the queue at Close can still be read;
/// after it Read returns kEndOfData, as Write does at once. All operations are thread-safe.
///
/// An owner that has to bound the queue uses Waiting to write less, or AwaitReader to wait.
class QueueStream final : public Stream {
public:
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    /// Keeps references to the texts until they have been read.
    std::int32_t WriteShared(const SharedFrame& frame) override;
    void Close() override;
    /// Closes the queue and drops what hasn't been read. Doesn't block.
    void Discard();

    /// Returns how many bytes were written and neither read nor dropped. Never blocks.
    std::uint64_t Waiting() const { return waiting; }
    /// Returns how many bytes were read or dropped since the queue was made. Never blocks.
    std::uint64_t Taken() const { return taken; }
    /// Returns whether everything was read and the last Read has found the queue empty. Doesn't
    /// block.
    bool IsDrained() const;
    /// Blocks until at most `bytes` bytes are unread or the queue is closed, and returns true.
    /// Returns false if nothing was read for `stallMilliseconds` meanwhile. One thread at a time
    /// may call it.
    [[nodiscard]] bool AwaitReader(std::uint64_t bytes, std::uint32_t stallMilliseconds);

private:
    static constexpr std::uint32_t kData = 1;
    static constexpr std::uint32_t kClosed = 2;
    static constexpr std::uint32_t kRead = 4;

    /// A text that other streams hold too, and how much of it was read from this queue.
    struct SharedText {
        std::uint32_t Take(std::uint8_t* out, std::uint32_t count);
        std::uint32_t Untaken() const { return static_cast<std::uint32_t>(text->size()) - read; }

        SharedFrame::Text text;
        std::uint32_t read = 0;
    };
    using Piece = std::variant<StreamBuffer, SharedText>;

    std::int32_t TakePieces(std::uint8_t* buffer, std::uint32_t length) REQUIRES(lock);
    void CountWritten(std::uint32_t count) REQUIRES(lock);
    void CountTaken(std::uint64_t count) REQUIRES(lock);

    mutable Mutex lock;
    std::deque<Piece> pieces GUARDED_BY(lock);
    bool closed GUARDED_BY(lock) = false;
    /// Whether the last Read has found the queue empty.
    bool readerWaits GUARDED_BY(lock) = false;
    /// Written under `lock`.
    std::atomic<std::uint64_t> waiting{0};
    std::atomic<std::uint64_t> taken{0};
    /// Whether a thread is inside AwaitReader and needs kRead to be set.
    std::atomic<bool> readingIsAwaited{false};
    /// Changed under `lock`, so that kData is set exactly while there are pieces.
    EventFlags signal{false};
};

}  // namespace vantry
