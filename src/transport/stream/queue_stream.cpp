#include "transport/stream/queue_stream.h"

namespace vantry {

std::int32_t QueueStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (length <= 0) {
        return 0;
    }
    for (;;) {
        const std::uint32_t seen = signal.WaitAny(kData | kClosed);
        ScopedLock guard(lock);
        if (!blocks.empty()) {
            return TakeBlocks(buffer, static_cast<std::uint32_t>(length));
        }
        if ((seen & kClosed) != 0) {
            return StreamCode::kEndOfData;
        }
        // Another reader was faster.
    }
}

std::int32_t QueueStream::TakeBlocks(std::uint8_t* buffer, std::uint32_t length) {
    std::uint32_t copied = 0;
    while (copied < length && !blocks.empty()) {
        copied += blocks.front().Take(buffer + copied, length - copied);
        if (blocks.front().Untaken() == 0) {
            blocks.pop_front();
        }
    }
    if (blocks.empty()) {
        signal.Clear(kData);
    }
    return static_cast<std::int32_t>(copied);
}

std::int32_t QueueStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    if (signal.WaitAny(kClosed, 0) != 0) {
        return StreamCode::kEndOfData;
    }
    if (length <= 0) {
        return 0;
    }
    ScopedLock guard(lock);
    const auto count = static_cast<std::uint32_t>(length);
    std::uint32_t stored = blocks.empty() ? 0 : blocks.back().Put(buffer, count);
    if (stored < count) {
        stored += blocks.emplace_back(count - stored).Put(buffer + stored, count - stored);
    }
    signal.Set(kData);
    return static_cast<std::int32_t>(stored);
}

void QueueStream::Close() { signal.Set(kClosed); }

}  // namespace vantry
