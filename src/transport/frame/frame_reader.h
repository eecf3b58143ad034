#pragma once

#include <cstdint>
#include <string>

#include "transport/stream/stream.h"

namespace vantry {

/// The result of reading a frame.
enum class FrameEnd : std::uint8_t {
    /// The text is complete.
    Whole,
    /// The stream ended before the frame did.
    Ended,
    /// The bytes that arrived aren't a frame of this protocol.
    NotAFrame,
    /// The frame has no text, or a longer one than the reader accepts.
    WrongLength,
};

/// Reads the next frame of the stream and stores its text in `text`, which has no defined content
/// if the result isn't Whole. Blocks until the frame is complete or can't become complete.
/// `longest` is the greatest length in bytes that is accepted.
///
/// The memory grows with what has arrived, so a head that announces a long text costs no memory.
/// What has arrived is counted in the stream's account until the function returns; if the stream is
/// closed because of that, the result is Ended. One thread at a time reads a stream.
[[nodiscard]] FrameEnd ReadFrame(Stream& stream, std::string& text, std::uint32_t longest);

}  // namespace vantry
