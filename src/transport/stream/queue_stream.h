#pragma once

#include <cstdint>
#include <deque>

#include "runtime/event_flags.h"
#include "runtime/lock.h"
#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// A first-in-first-out byte pipe between threads, without a bound: a writer never waits, a reader
/// waits until there is data or the queue is closed. What is in it at Close can still be read;
/// behind that comes kEndOfData. Safe for any number of threads.
class QueueStream final : public Stream {
public:
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    void Close() override;

private:
    static constexpr std::uint32_t kData = 1;
    static constexpr std::uint32_t kClosed = 2;

    std::int32_t TakeBlocks(std::uint8_t* buffer, std::uint32_t length) REQUIRES(lock);

    Lock lock;
    std::deque<StreamBuffer> blocks GUARDED_BY(lock);
    /// Changed under `lock`, so that kData always tells whether there are blocks.
    EventFlags signal{false};
};

}  // namespace vantry
