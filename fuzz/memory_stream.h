#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "transport/stream/stream.h"

namespace vantry::fuzz {

/// Gives the bytes of an input in pieces whose sizes the input itself decides, then its end.
class MemoryStream final : public Stream {
public:
    MemoryStream(const std::uint8_t* data, std::size_t size) : next(data), end(data + size) {}
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::ptrdiff_t piece = next == end ? 0 : 1 + (*next & 0x3F);
        const auto count = std::min<std::ptrdiff_t>({length, piece, end - next});
        std::memcpy(buffer, next, static_cast<std::size_t>(count));
        next += count;
        return count == 0 ? StreamCode::kEndOfData : static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t*, std::int32_t length) override { return length; }
    void Close() override { next = end; }

private:
    const std::uint8_t* next;
    const std::uint8_t* end;
};

}  // namespace vantry::fuzz
