#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "transport/stream/stream.h"

namespace vantry {

/// A frame to be sent: the head that every message has, followed by the text. Used by one thread.
class MessageFrame {
public:
    MessageFrame();

    /// Returns the bytes so far, which begin with the head. The caller appends text to them.
    std::string& Buffer() { return bytes; }
    /// Writes the whole frame in one call. Returns false if the stream doesn't accept all of it;
    /// nothing more may be written to that stream then. The frame may be empty afterwards. Blocks
    /// as long as Write of the stream does.
    [[nodiscard]] bool WriteTo(Stream& stream);
    /// Returns the whole frame, which several streams may share, and leaves this one empty.
    [[nodiscard]] std::shared_ptr<const std::string> Share();
    /// Writes a frame that Share returned. Returns false as WriteTo does, and for a frame whose
    /// length a stream can't express.
    [[nodiscard]] static bool WriteShared(Stream& stream,
                                          const std::shared_ptr<const std::string>& frame);

private:
    void SetLength();

    std::string bytes;
};

}  // namespace vantry
