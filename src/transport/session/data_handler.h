#pragma once

#include <cstdint>
#include <memory>

#include "transport/session/data_stream.h"
#include "transport/stream/peek_stream.h"

namespace vantry {

/// Recognises one kind of message in a stream.
class DataHandler {
public:
    /// Recognise found nothing.
    static constexpr std::uint32_t kNoPosition = 0xFFFFFFFF;

    virtual ~DataHandler() = default;
    /// Where in the look-ahead window this handler's data begins, or kNoPosition. Doesn't block.
    virtual std::uint32_t Recognise(const std::shared_ptr<PeekStream>& stream) = 0;
    /// The message at the start of the stream; empty if it can't be had.
    virtual std::shared_ptr<DataObject> Open(const std::shared_ptr<PeekStream>& stream) = 0;
    /// How many bytes Recognise needs to see.
    virtual std::uint32_t MinimumBytes() const = 0;
};

}  // namespace vantry
