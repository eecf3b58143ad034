#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "transport/stream/stream_codes.h"

namespace vantry {

/// A byte stream: everything that moves bytes in the hub moves them through this.
///
/// Streams are held by shared owners and usable from their constructor until Close. One thread
/// reads a stream. Writers may be several, and whoever writes whole frames keeps them apart. Close
/// may come from any thread: it wakes a blocked Read or makes it fail.
class Stream {
public:
    virtual ~Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Waits as its class says, and returns up to `length` bytes or a StreamCode. Nobody loops to
    /// fill a buffer; a caller that needs an exact count loops itself.
    virtual std::int32_t Read(std::uint8_t* buffer, std::int32_t length) = 0;
    std::int32_t WriteBytes(const std::vector<std::uint8_t>& bytes) {
        return Write(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }
    /// Reads up to `length` bytes from `source` once and writes them here. The code of the read if
    /// that failed, else what the write returned.
    std::int32_t CopyFrom(Stream& source, std::int32_t length);
    /// Takes bytes, or returns a StreamCode. A result below `length` is a torn write.
    virtual std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) = 0;
    virtual void Close() = 0;
    /// The identity of the connection. All decorators of one connection share it, so a connection
    /// is told from another by this, never by the object.
    virtual std::uint32_t Id() const { return id; }
    /// 1 for a stream that leads out of the printer's own software, which may do less; else 0.
    virtual std::uint32_t IsExternal() const { return external; }
    /// 0 once the link is known to be dead.
    virtual std::uint32_t IsAlive() const { return alive; }

protected:
    /// An internal stream with an identity of its own.
    Stream() : Stream(0) {}
    /// A stream with an identity of its own.
    explicit Stream(std::uint32_t isExternal) : Stream(nextId.fetch_add(1), isExternal) {}
    /// A stream that decorates another one.
    Stream(std::uint32_t sharedId, std::uint32_t isExternal) : id(sharedId), external(isExternal) {}

    void MarkDead() { alive = 0; }

private:
    static inline std::atomic<std::uint32_t> nextId{0};

    const std::uint32_t id;
    const std::uint32_t external;
    std::atomic<std::uint32_t> alive{1};
};

}  // namespace vantry
