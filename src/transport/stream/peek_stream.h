#pragma once

#include <memory>
#include <optional>

#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// A stream with a look-ahead window, so that data can be recognised before it is read. Every
/// session reads through one. Read, Peek and PeekCopy belong to the one reading thread; Write and
/// Close go straight to the wrapped stream.
class PeekStream final : public Stream {
public:
    explicit PeekStream(std::shared_ptr<Stream> wrapped);

    /// Takes from the window first, and from the wrapped stream what is missing. Blocks as that
    /// one blocks, unless the window has it all.
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override {
        return inner->WriteShared(frame);
    }
    void Close() override { inner->Close(); }
    const std::shared_ptr<ConnectionAccount>& Account() const override { return inner->Account(); }
    std::uint32_t Id() const override { return inner->Id(); }
    std::uint32_t IsAlive() const override { return inner->IsAlive(); }

    /// Looks further ahead, up to `size` bytes: a window that was not taken from since the last
    /// look is topped up, or slides on by half once it is full, and what slides out is gone.
    /// Blocks in the wrapped stream's Read. False if that has ended: it failed or gave nothing.
    [[nodiscard]] bool Peek(std::int32_t size);
    /// Copies up to `length` bytes of the window and leaves them there. The count, or kEndOfData
    /// if there is nothing to look at.
    std::int32_t PeekCopy(std::uint8_t* buffer, std::int32_t length);
    /// Makes a new window of what one Read of up to `length` bytes gives. Its result.
    std::int32_t Fill(std::int32_t length);

private:
    using Bytes = std::unique_ptr<std::uint8_t[]>;

    std::int32_t Refill(std::uint8_t* bytes, std::int32_t size);
    std::int32_t SlideOrTopUp(std::uint8_t* bytes, std::int32_t size);
    void Adopt(Bytes bytes, std::int32_t count);

    const std::shared_ptr<Stream> inner;
    std::optional<StreamBuffer> window;
    /// The window has bytes that Read hasn't taken.
    bool buffered = false;
    std::int32_t lastPeek = 32;
};

}  // namespace vantry
