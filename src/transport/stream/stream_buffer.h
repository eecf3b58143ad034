#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace vantry {

/// A block of bytes that is filled at one end and taken from at the other. Owned by one stream at
/// a time, which guards it. 0 <= taken <= stored <= capacity always holds.
class StreamBuffer {
public:
    /// An empty block with room for `size` bytes.
    explicit StreamBuffer(std::uint32_t size)
        : capacity(size), data(std::make_unique_for_overwrite<std::uint8_t[]>(size)) {}
    /// A full block of the `size` bytes of `filled`.
    StreamBuffer(std::unique_ptr<std::uint8_t[]> filled, std::uint32_t size)
        : capacity(size), writePos(size), data(std::move(filled)) {}

    /// Copies up to `count` untaken bytes out and counts them as taken. How many.
    std::uint32_t Take(std::uint8_t* out, std::uint32_t count) {
        const std::uint32_t copied = Look(out, count);
        readPos += copied;
        return copied;
    }
    /// Stores up to `count` bytes, as there is room. How many.
    std::uint32_t Put(const std::uint8_t* in, std::uint32_t count) {
        const std::uint32_t copied = std::min(count, capacity - writePos);
        std::memcpy(data.get() + writePos, in, copied);
        writePos += copied;
        return copied;
    }
    /// Copies up to `count` untaken bytes out without taking them. How many.
    std::uint32_t Look(std::uint8_t* out, std::uint32_t count) const {
        const std::uint32_t copied = std::min(count, Untaken());
        std::memcpy(out, data.get() + readPos, copied);
        return copied;
    }

    std::uint32_t Untaken() const { return writePos - readPos; }
    std::uint32_t Room() const { return capacity - writePos; }
    bool IsTouched() const { return readPos != 0; }

private:
    std::uint32_t capacity;
    std::uint32_t writePos = 0;
    std::uint32_t readPos = 0;
    std::unique_ptr<std::uint8_t[]> data;
};

}  // namespace vantry
