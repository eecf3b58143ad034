#pragma once

#include <array>
#include <cstdint>

namespace vantry {

/// The head of every message: 16 bytes of magic, by which it is recognised, and the length of its
/// text in bytes as a little-endian number of 4 bytes.
struct Frame {
    static constexpr std::int32_t kMagicBytes = 16;
    static constexpr std::int32_t kLengthBytes = 4;
    static constexpr std::int32_t kHeadBytes = kMagicBytes + kLengthBytes;
    /// The length in bytes of the longest text that the hub accepts.
    static constexpr std::uint32_t kMaximumText = 0x400000;
};

inline constexpr std::array<std::uint8_t, Frame::kMagicBytes> MessageFrameMagic = {
    0xB3, 0xEC, 0x09, 0x9A, 0x22, 0x92, 0x48, 0xFA, 0x83, 0xD0, 0x06, 0x84, 0x0B, 0xC9, 0x91, 0x02};

}  // namespace vantry
