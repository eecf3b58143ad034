#pragma once

#include <cstdint>
#include <memory>

#include "transport/session/data_stream.h"
#include "transport/stream/peek_stream.h"

namespace vantry {

/// Recognises one kind of message in a stream. The manager shares a handler among all session
/// threads, so its operations must be thread-safe.
class DataHandler {
public:
    /// The result of Recognise if it found nothing.
    static constexpr std::uint32_t kNoPosition = 0xFFFFFFFF;

    virtual ~DataHandler() = default;
    /// Returns the position in the look-ahead window at which this handler's data begins, or
    /// kNoPosition. Doesn't block if the stream has a window.
    virtual std::uint32_t Recognise(const std::shared_ptr<PeekStream>& stream) = 0;
    /// Returns the message at the start of the stream; the caller owns it. An empty reference ends
    /// the session.
    [[nodiscard]] virtual std::shared_ptr<DataObject> Open(
        const std::shared_ptr<PeekStream>& stream) = 0;
    /// Returns how many bytes of the window Recognise needs.
    virtual std::uint32_t MinimumBytes() const = 0;
};

}  // namespace vantry
