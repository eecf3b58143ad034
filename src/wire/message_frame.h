#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "transport/stream/stream.h"

namespace vantry {

/// A frame on its way out: the head that every message has, then text that is appended to it.
class MessageFrame {
public:
    MessageFrame();

    /// What is written so far, head included; append text behind it.
    std::string& Buffer() { return bytes; }
    /// Writes the whole frame in one call. Returns false on a short write, after which nothing more
    /// may be written to that stream. A long frame is handed over and gone afterwards.
    [[nodiscard]] bool WriteTo(Stream& stream);
    /// Hands out the whole frame, for several streams.
    std::shared_ptr<const std::string> Share();
    /// Writes a frame from Share, as WriteTo does.
    [[nodiscard]] static bool WriteShared(Stream& stream,
                                          const std::shared_ptr<const std::string>& frame);

private:
    void SetLength();

    std::string bytes;
};

}  // namespace vantry
