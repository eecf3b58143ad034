// A queue of pieces of memory.
//
// Small writes are stored in one block, so that a peer that writes single bytes can't make the
// queue use many times the memory of what it wrote; a block is freed as soon as it was read. A
// shared text is a piece of its own and costs a reference. The counters are atomics that can be
// read without the lock, because an owner that bounds the queue reads them after every write. A
// Read signals kRead only while a thread is inside AwaitReader.

#include "transport/stream/queue_stream.h"

#include <algorithm>
#include <cstring>

namespace vantry {
namespace {

constexpr std::uint32_t kSmallestBlock = 4096;

}  // namespace

std::uint32_t QueueStream::SharedText::Take(std::uint8_t* out, std::uint32_t count) {
    const std::uint32_t copied = std::min(count, Untaken());
    std::memcpy(out, text->data() + read, copied);
    read += copied;
    return copied;
}

std::int32_t QueueStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (length <= 0) {
        return 0;
    }
    for (;;) {
        {
            ScopedLock guard(lock);
            if (!pieces.empty()) {
                return TakePieces(buffer, static_cast<std::uint32_t>(length));
            }
            readerWaits = true;
            if (closed) {
                return StreamCode::kEndOfData;
            }
        }
        signal.WaitAny(kData | kClosed);
    }
}

std::int32_t QueueStream::TakePieces(std::uint8_t* buffer, std::uint32_t length) {
    std::uint32_t copied = 0;
    while (copied < length && !pieces.empty()) {
        const bool isEmpty = std::visit(
            [&](auto& piece) {
                copied += piece.Take(buffer + copied, length - copied);
                return piece.Untaken() == 0;
            },
            pieces.front());
        if (isEmpty) {
            pieces.pop_front();
        }
    }
    CountTaken(copied);
    return static_cast<std::int32_t>(copied);
}

void QueueStream::CountTaken(std::uint64_t count) {
    readerWaits = false;
    waiting -= count;
    taken += count;
    if (pieces.empty()) {
        signal.Clear(kData);
    }
    if (readingIsAwaited) {
        signal.Set(kRead);
    }
}

void QueueStream::CountWritten(std::uint32_t count) {
    waiting += count;
    signal.Set(kData);
}

std::int32_t QueueStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    ScopedLock guard(lock);
    if (closed) {
        return StreamCode::kEndOfData;
    }
    if (length <= 0) {
        return 0;
    }
    const auto count = static_cast<std::uint32_t>(length);
    auto* const last = pieces.empty() ? nullptr : std::get_if<StreamBuffer>(&pieces.back());
    const std::uint32_t stored = last == nullptr ? 0 : last->Put(buffer, count);
    if (stored < count) {
        const std::uint32_t rest = count - stored;
        StreamBuffer block(std::max(rest, kSmallestBlock));
        block.Put(buffer + stored, rest);
        pieces.emplace_back(std::move(block));
    }
    CountWritten(count);
    return length;
}

std::int32_t QueueStream::WriteShared(const SharedFrame& frame) {
    ScopedLock guard(lock);
    if (closed) {
        return StreamCode::kEndOfData;
    }
    for (const SharedFrame::Text& text : frame.Texts()) {
        pieces.emplace_back(SharedText{text});
    }
    if (frame.Size() != 0) {
        CountWritten(static_cast<std::uint32_t>(frame.Size()));
    }
    return static_cast<std::int32_t>(frame.Size());
}

void QueueStream::Close() {
    ScopedLock guard(lock);
    closed = true;
    signal.Set(kClosed);
}

void QueueStream::Discard() {
    std::deque<Piece> dropped;
    ScopedLock guard(lock);
    closed = true;
    dropped.swap(pieces);
    CountTaken(waiting);
    signal.Set(kClosed);
}

bool QueueStream::IsDrained() const {
    ScopedLock guard(lock);
    return readerWaits && pieces.empty();
}

bool QueueStream::AwaitReader(std::uint64_t bytes, std::uint32_t stallMilliseconds) {
    bool isReading = true;
    readingIsAwaited = true;
    while (isReading && waiting > bytes) {
        signal.Clear(kRead);
        if (waiting <= bytes) {
            break;
        }
        const std::uint32_t seen = signal.WaitAny(kRead | kClosed, stallMilliseconds);
        isReading = seen != 0;
        if ((seen & kClosed) != 0) {
            break;
        }
    }
    readingIsAwaited = false;
    return isReading;
}

}  // namespace vantry
