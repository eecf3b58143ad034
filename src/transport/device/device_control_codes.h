#pragma once

#include <cstdint>

namespace vantry {

/// What the hub tells the drivers of its USB and Bluetooth devices, and asks them.
struct ControlCode {
    /// Of a stream: the time-out of writes, a signed number of 4 bytes.
    static constexpr std::uint32_t kSetWriteTimeout = 0x222004;
    /// Of a stream: waits until a peer has connected on the channel, a number of 2 bytes.
    static constexpr std::uint32_t kAwaitPeer = 0x222008;
    /// Of a stream: the time-out of reads, a signed number of 4 bytes, -1 for none.
    static constexpr std::uint32_t kSetReadTimeout = 0x22200C;
    /// Of any handle: answers with 4 bytes that aren't 0 while a host is attached.
    static constexpr std::uint32_t kIsHostAttached = 0x222018;
    /// Of a listener: the host that was there before it is taken over now.
    static constexpr std::uint32_t kTakeAttachedHost = 0x22201C;
    /// Of a listener: it ends.
    static constexpr std::uint32_t kStopListening = 0x222020;
};

}  // namespace vantry
