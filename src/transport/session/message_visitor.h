#pragma once

#include <cstdint>
#include <memory>

namespace vantry {

class Stream;

/// Whoever reads and handles the messages that arrive: the property engine.
class MessageVisitor {
public:
    virtual ~MessageVisitor() = default;
    /// Reads one message from `stream`, whose next bytes are a whole frame, and acts on it, on the
    /// caller's thread. 0 ends the session. Called by many threads, one at a time for a stream.
    virtual std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) = 0;
};

}  // namespace vantry
