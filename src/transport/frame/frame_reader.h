#pragma once

#include <cstdint>
#include <string>

#include "transport/stream/stream.h"

namespace vantry {

/// How reading a frame ended.
enum class FrameEnd : std::uint8_t {
    Whole,
    /// The stream ended before the frame did.
    Ended,
    /// What came isn't a frame of this protocol.
    NotAFrame,
    /// The frame has no text, or a longer one than the reader accepts.
    WrongLength,
};

/// Reads the frame that is next in the stream, and puts its text into `text`. Blocks until the
/// frame is there whole or can't become whole. The memory grows with what has arrived, so a peer
/// that only promises a long text costs none. What has arrived is counted in the stream's account
/// until the function returns; a stream that was closed because of that counts as ended.
[[nodiscard]] FrameEnd ReadFrame(Stream& stream, std::string& text, std::uint32_t longest);

}  // namespace vantry
