#pragma once

#include <memory>
#include <optional>

#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// A decorator with a look-ahead window, so that the kind of data can be recognised before it is
/// read. Every session reads through one. Read, Peek, PeekCopy and Fill are for the one thread that
/// reads; all other operations are those of the wrapped stream.
class PeekStream final : public Stream {
public:
    explicit PeekStream(std::shared_ptr<Stream> wrapped);

    /// Reads from the window first, and what is missing from the wrapped stream. Blocks in that
    /// stream's Read, unless the window has `length` bytes. If that Read fails after bytes came
    /// from the window, it returns the number of those.
    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const SharedFrame& frame) override {
        return inner->WriteShared(frame);
    }
    void Close() override { inner->Close(); }
    void ReleaseInput() override { inner->ReleaseInput(); }
    const std::shared_ptr<ConnectionAccount>& Account() const override { return inner->Account(); }
    std::uint32_t Id() const override { return inner->Id(); }
    std::uint32_t IsAlive() const override { return inner->IsAlive(); }
    bool HasPeerGone() const override { return inner->HasPeerGone(); }

    /// Makes the window hold at least one more byte, up to `size` in all. If Read has consumed
    /// bytes since the last Peek, the rest is kept. If not, a partly filled window is filled
    /// further, and a full one drops its older half; the dropped bytes are lost. Blocks in the
    /// wrapped stream's Read. Returns false if the stream has ended: its Read failed or returned
    /// nothing.
    [[nodiscard]] bool Peek(std::int32_t size);
    /// Copies at most `length` bytes of the window, which stay in it, and returns their number.
    /// Without a window it makes one with Fill. Returns kEndOfData if there is none afterwards.
    [[nodiscard]] std::int32_t PeekCopy(std::uint8_t* buffer, std::int32_t length);
    /// Makes a new window of what one Read of the wrapped stream returns for `length` bytes.
    /// Returns the result of that Read; below 1 the window is unchanged.
    std::int32_t Fill(std::int32_t length);

private:
    using Bytes = std::unique_ptr<std::uint8_t[]>;

    /// Stores the bytes of the next window. Returns their number, or below 1 if the stream has
    /// ended.
    std::int32_t Refill(std::uint8_t* bytes, std::int32_t size);
    /// Does the same for a window of which nothing was consumed.
    std::int32_t SlideOrTopUp(std::uint8_t* bytes, std::int32_t size);
    /// Returns memory of `size` bytes for a window.
    Bytes TakeMemory(std::int32_t size);
    void Adopt(Bytes bytes, std::int32_t size, std::int32_t count);

    const std::shared_ptr<Stream> inner;
    std::optional<StreamBuffer> window;
    /// The size of the memory of the window.
    std::int32_t windowSize = 0;
    /// The memory of the window before this one, which the next window takes if it fits.
    Bytes spare;
    std::int32_t spareSize = 0;
    /// Whether the window has bytes that Read hasn't consumed.
    bool buffered = false;
    /// How many bytes the window had when it was made.
    std::int32_t lastPeek = 32;
};

}  // namespace vantry
