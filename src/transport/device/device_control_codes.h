#pragma once

#include <cstdint>

namespace vantry {

/// The control codes of the drivers of the USB and Bluetooth devices. Only kAwaitPeer blocks.
struct ControlCode {
    /// For a stream's handle: sets the time-out of writes. The input is a signed number of 4 bytes.
    static constexpr std::uint32_t kSetWriteTimeout = 0x222004;
    /// For a stream's handle: blocks until a peer has connected on a channel or the handle is
    /// closed. The input is the channel, a number of 2 bytes.
    static constexpr std::uint32_t kAwaitPeer = 0x222008;
    /// For a stream's handle: sets the time-out of reads. The input is a signed number of 4 bytes,
    /// -1 for no time-out.
    static constexpr std::uint32_t kSetReadTimeout = 0x22200C;
    /// For any handle: the output is 4 bytes, which aren't all 0 while a host is attached.
    static constexpr std::uint32_t kIsHostAttached = 0x222018;
    /// For the listener's handle: the listener serves the host that was attached before.
    static constexpr std::uint32_t kTakeAttachedHost = 0x22201C;
    /// For the listener's handle: the listener has ended.
    static constexpr std::uint32_t kStopListening = 0x222020;
};

}  // namespace vantry
