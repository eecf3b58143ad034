#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/accounting.h"
#include "platform/shared_frame.h"
#include "runtime/lock.h"
#include "transport/stream/stream_codes.h"

namespace vantry {

/// A stream of bytes in both directions.
///
/// Streams have shared owners and are usable from their construction until Close. One thread reads
/// a stream. Any thread may write, and holds SendLock while it writes a frame. Any thread may call
/// Close and the other operations, which don't block.
class Stream {
public:
    virtual ~Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Blocks until there are bytes, the stream ends or it is closed, and then stores at most
    /// `length` bytes. Returns their number, or a StreamCode. The result may be less than `length`;
    /// a caller that needs an exact number of bytes calls Read in a loop.
    [[nodiscard]] virtual std::int32_t Read(std::uint8_t* buffer, std::int32_t length) = 0;
    /// Writes the bytes and returns what Write returns. Nothing in the hub calls WriteBytes and
    /// CopyFrom; they complete the operations of a stream for programs that use it.
    std::int32_t WriteBytes(const std::vector<std::uint8_t>& bytes) {
        return Write(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }
    /// Calls Read of `source` once for at most `length` bytes, and writes what it got to this
    /// stream. Returns the StreamCode of the read if that failed, else the result of the write.
    std::int32_t CopyFrom(Stream& source, std::int32_t length);
    /// Writes bytes, or accepts them to be sent later. Returns their number or a StreamCode. A
    /// result below `length` means that the rest is lost and the stream can't be used for frames
    /// any more.
    ///
    /// It must not wait for the peer: one thread of the engine writes to all subscribers, and one
    /// slow peer would delay the others. A StdFileStream waits for the disk, and is never passed to
    /// the engine.
    virtual std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) = 0;
    /// Does the same with the whole of `frame`. A stream that has to keep bytes for its peer keeps
    /// references to its texts instead of a copy, so that a frame for many peers is in memory once.
    virtual std::int32_t WriteShared(const SharedFrame& frame) {
        const SharedFrame::Text whole = frame.Joined();
        return Write(reinterpret_cast<const std::uint8_t*>(whole->data()),
                     static_cast<std::int32_t>(whole->size()));
    }
    /// Ends the stream: a Read that blocks returns, and later calls fail. Bytes that were accepted
    /// may still be sent. Further calls do nothing.
    virtual void Close() = 0;
    /// Releases the memory of input that was received and not read. The reading thread calls it
    /// when it won't read any more, since other objects may own the stream for longer.
    virtual void ReleaseInput() {}
    /// Arranges that the stream is closed and counts as dead when its account is cut. The creator
    /// of an external stream calls it once, before other threads use the stream.
    static void GiveUpWhenCut(const std::shared_ptr<Stream>& stream);
    /// Returns the account that counts the connection's resources. It is empty for an internal
    /// stream, whose resources aren't counted.
    virtual const std::shared_ptr<ConnectionAccount>& Account() const { return account; }
    /// Returns the lock that a writer holds while it writes a frame, so that the frames of several
    /// writers don't mix. All decorators of a connection share it. While it is held, a thread only
    /// calls Write and WriteShared, which may acquire locks of their own.
    const Mutex& SendLock() const RETURN_CAPABILITY(sendLock) { return sendLock; }
    /// Returns the identity of the connection. All decorators of a connection share it, so
    /// connections are compared by it and not by the address of a stream.
    virtual std::uint32_t Id() const { return id; }
    /// Returns 1 if the peer isn't part of the printer's own software, and so has fewer rights,
    /// else 0.
    virtual std::uint32_t IsExternal() const { return external; }
    /// Returns 0 if the connection is known to have failed or was closed, else 1. Other objects
    /// drop a stream that isn't alive.
    virtual std::uint32_t IsAlive() const { return alive; }
    /// Returns whether nothing that is written can reach the peer any more, so that an answer to it
    /// is wasted. A peer that has only ended its sending side still receives. Unlike IsAlive it may
    /// ask the system. A stream that can't find out returns what IsAlive knows.
    virtual bool HasPeerGone() const { return IsAlive() == 0; }

protected:
    /// Makes an internal stream with a new identity.
    Stream() : Stream(0) {}
    /// Makes a stream without an account, with a new identity.
    explicit Stream(std::uint32_t isExternal)
        : id(nextId.fetch_add(1)),
          external(isExternal),
          ownLock(std::in_place),
          sendLock(*ownLock) {}
    /// Makes an external stream with a new identity.
    explicit Stream(std::shared_ptr<ConnectionAccount> ownAccount) : Stream(1) {
        account = std::move(ownAccount);
    }
    /// Makes a decorator of another stream, to which it forwards Id and Account. The decorator
    /// keeps the other stream, and with it the lock, alive.
    Stream(std::uint32_t sharedId, std::uint32_t isExternal, const Mutex& sharedLock)
        : id(sharedId), external(isExternal), sendLock(sharedLock) {}

    /// Makes IsAlive return 0.
    void MarkDead() { alive = 0; }
    /// Closes the stream and makes IsAlive return 0, so that the engine drops it.
    void GiveUp() {
        MarkDead();
        Close();
    }

private:
    static inline std::atomic<std::uint32_t> nextId{0};

    const std::uint32_t id;
    const std::uint32_t external;
    /// Empty in a decorator.
    const std::optional<Mutex> ownLock;
    const Mutex& sendLock;
    std::shared_ptr<ConnectionAccount> account;
    std::atomic<std::uint32_t> alive{1};
};

}  // namespace vantry
