#pragma once

#include <cstddef>
#include <string>

#include "transport/stream/stream.h"

namespace vantry {

/// A frame on its way out: the head that every message has, then text that is appended to it.
class MessageFrame {
public:
    MessageFrame();

    /// What is written so far, head included; append text behind it.
    std::string& Buffer() { return bytes; }
    /// Writes the whole frame in one call. False on a short write, after which nothing more may be
    /// written to that stream.
    [[nodiscard]] bool WriteTo(Stream& stream);

private:
    std::string bytes;
};

}  // namespace vantry
