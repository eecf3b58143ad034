#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/accounting.h"
#include "runtime/lock.h"
#include "transport/stream/stream_codes.h"

namespace vantry {

/// A byte stream: everything that moves bytes in the hub moves them through this.
///
/// Streams are held by shared owners and usable from their constructor until Close. One thread
/// reads a stream. Writers may be several; whoever writes a whole frame holds SendLock meanwhile.
/// Close may come from any thread: it wakes a blocked Read or makes it fail.
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
    /// Writes the whole of `frame`, as Write does. A stream that has to keep bytes for its peer
    /// keeps a reference to the frame instead of a copy, so that a frame for many peers is in
    /// memory once. The frame must not change any more.
    virtual std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) {
        return Write(reinterpret_cast<const std::uint8_t*>(frame->data()),
                     static_cast<std::int32_t>(frame->size()));
    }
    virtual void Close() = 0;
    /// Has the stream given up when its account is cut. Whoever made the stream calls it once,
    /// before other threads know it.
    static void GiveUpWhenCut(const std::shared_ptr<Stream>& stream);
    /// What the connection makes the hub hold. Empty for an internal stream: nothing of it is
    /// counted.
    virtual const std::shared_ptr<ConnectionAccount>& Account() const { return account; }
    /// Keeps the frames of several writers apart. All decorators of one connection share it.
    /// Holders take no other lock while they write.
    const Lock& SendLock() const RETURN_CAPABILITY(sendLock) { return sendLock; }
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
    explicit Stream(std::uint32_t isExternal) : Stream(nextId.fetch_add(1), isExternal, Lock()) {}
    /// A stream that leads out of the printer, with an identity of its own.
    explicit Stream(std::shared_ptr<ConnectionAccount> ownAccount) : Stream(1) {
        account = std::move(ownAccount);
    }
    /// A stream that decorates another one, to which it forwards Id and Account.
    Stream(std::uint32_t sharedId, std::uint32_t isExternal, Lock sharedLock)
        : id(sharedId), external(isExternal), sendLock(std::move(sharedLock)) {}

    void MarkDead() { alive = 0; }
    /// Closes the stream, which counts as dead from now on, so that the engine drops it.
    void GiveUp() {
        MarkDead();
        Close();
    }

private:
    static inline std::atomic<std::uint32_t> nextId{0};

    const std::uint32_t id;
    const std::uint32_t external;
    const Lock sendLock;
    std::shared_ptr<ConnectionAccount> account;
    std::atomic<std::uint32_t> alive{1};
};

}  // namespace vantry
