#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "transport/session/message_visitor.h"
#include "transport/stream/stream.h"

namespace vantry {

/// A message in a stream that hasn't been read. One thread uses it.
class DataObject {
public:
    virtual ~DataObject() = default;
    /// Passes the message to `visitor` and returns its result: 0 ends the session. Blocks as the
    /// visitor does.
    virtual std::uint32_t Accept(MessageVisitor& visitor) = 0;
};

/// The next message of a stream, and a decorator of that stream. It exists because a handler
/// returns a DataObject and the visitor needs a Stream; the operations are those of the wrapped
/// stream.
class DataStream : public Stream, public DataObject {
public:
    explicit DataStream(std::shared_ptr<Stream> wrapped)
        : Stream(wrapped->Id(), wrapped->IsExternal(), wrapped->SendLock()),
          inner(std::move(wrapped)) {}

    /// The creator calls it once, before Accept, with the reference that owns this object.
    void SetSelf(const std::shared_ptr<DataStream>& owner) { self = owner; }

    std::uint32_t Accept(MessageVisitor& visitor) override {
        return visitor.ProcessMessage(self.lock());
    }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return inner->Read(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return inner->Write(buffer, length);
    }
    std::int32_t WriteShared(const SharedFrame& frame) override {
        return inner->WriteShared(frame);
    }
    void Close() override { inner->Close(); }
    const std::shared_ptr<ConnectionAccount>& Account() const override { return inner->Account(); }
    std::uint32_t Id() const override { return inner->Id(); }
    std::uint32_t IsAlive() const override { return inner->IsAlive(); }
    bool HasPeerGone() const override { return inner->HasPeerGone(); }

private:
    const std::shared_ptr<Stream> inner;
    std::weak_ptr<DataStream> self;
};

/// The DataStream of a message in a frame.
class FramedDataStream final : public DataStream {
public:
    using DataStream::DataStream;
};

}  // namespace vantry
