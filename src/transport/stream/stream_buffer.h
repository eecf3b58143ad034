#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace vantry {

/// A block of bytes that is filled at its end and consumed at its front. It isn't thread-safe; the
/// stream that owns it guards it. 0 <= readPos <= writePos <= capacity always holds.
class StreamBuffer {
public:
    /// Makes an empty block with space for `size` bytes.
    explicit StreamBuffer(std::uint32_t size)
        : capacity(size), data(std::make_unique_for_overwrite<std::uint8_t[]>(size)) {}
    /// Makes a full block of the `size` bytes of `filled`.
    StreamBuffer(std::unique_ptr<std::uint8_t[]> filled, std::uint32_t size)
        : capacity(size), writePos(size), data(std::move(filled)) {}

    /// Copies at most `count` unconsumed bytes to `out` and consumes them. Returns their number.
    std::uint32_t Take(std::uint8_t* out, std::uint32_t count) {
        const std::uint32_t copied = Look(out, count);
        readPos += copied;
        return copied;
    }
    /// Stores at most `count` bytes, as far as there is space. Returns their number.
    std::uint32_t Put(const std::uint8_t* in, std::uint32_t count) {
        const std::uint32_t copied = std::min(count, capacity - writePos);
        std::memcpy(data.get() + writePos, in, copied);
        writePos += copied;
        return copied;
    }
    /// Copies at most `count` unconsumed bytes to `out`. Returns their number.
    std::uint32_t Look(std::uint8_t* out, std::uint32_t count) const {
        const std::uint32_t copied = std::min(count, Untaken());
        std::memcpy(out, data.get() + readPos, copied);
        return copied;
    }

    /// Returns the memory of the block, which can't be used any more.
    std::unique_ptr<std::uint8_t[]> Release() { return std::move(data); }

    /// Returns how many bytes are stored and not consumed.
    std::uint32_t Untaken() const { return writePos - readPos; }
    /// Returns how many more bytes fit.
    std::uint32_t Room() const { return capacity - writePos; }
    /// Returns whether any byte was consumed.
    bool IsTouched() const { return readPos != 0; }

private:
    std::uint32_t capacity;
    std::uint32_t writePos = 0;
    std::uint32_t readPos = 0;
    std::unique_ptr<std::uint8_t[]> data;
};

}  // namespace vantry
