#pragma once

#include <cstdint>
#include <memory>

namespace vantry {

class Stream;

/// Reads and handles the messages that arrive. The property engine implements it.
class MessageVisitor {
public:
    virtual ~MessageVisitor() = default;
    /// Reads one message from `stream`, whose next bytes begin a frame, and handles it on the
    /// caller's thread. Blocks until the message has arrived and was handled. Returns 0 to end the
    /// session. Many threads call it, one at a time for each stream.
    virtual std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) = 0;
};

}  // namespace vantry
