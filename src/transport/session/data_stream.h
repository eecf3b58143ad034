#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "transport/session/message_visitor.h"
#include "transport/stream/stream.h"

namespace vantry {

/// One message that waits in a stream to be read.
class DataObject {
public:
    virtual ~DataObject() = default;
    /// Hands the message to `visitor`, whose result this is: 0 ends the session.
    virtual std::uint32_t Accept(MessageVisitor& visitor) = 0;
};

/// A stream seen as the one message that is next in it. Everything goes to the wrapped stream.
class DataStream : public Stream, public DataObject {
public:
    explicit DataStream(std::shared_ptr<Stream> wrapped)
        : Stream(wrapped->Id(), wrapped->IsExternal(), wrapped->SendLock()),
          inner(std::move(wrapped)) {}

    /// Set once by whoever made the object, before Accept.
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
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override {
        return inner->WriteShared(frame);
    }
    void Close() override { inner->Close(); }
    const std::shared_ptr<ConnectionAccount>& Account() const override { return inner->Account(); }
    std::uint32_t Id() const override { return inner->Id(); }
    std::uint32_t IsAlive() const override { return inner->IsAlive(); }

private:
    const std::shared_ptr<Stream> inner;
    std::weak_ptr<DataStream> self;
};

/// The DataStream of a framed message.
class FramedDataStream final : public DataStream {
public:
    using DataStream::DataStream;
};

}  // namespace vantry
