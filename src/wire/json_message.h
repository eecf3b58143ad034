#pragma once

#include <string_view>
#include <utility>

#include "transport/stream/stream.h"
#include "wire/json/json_value.h"
#include "wire/message_frame.h"

namespace vantry {

/// One JSON object that is sent and received as one frame. Used by one thread at a time.
class JsonMessage {
public:
    JsonMessage() = default;
    virtual ~JsonMessage() = default;
    JsonMessage(const JsonMessage&) = delete;
    JsonMessage& operator=(const JsonMessage&) = delete;

    /// Returns the object as one frame, which can be written while a lock is held, or several
    /// times.
    [[nodiscard]] MessageFrame ToFrame() const;
    /// Writes the object as one frame, and keeps it. Returns false if the stream doesn't accept the
    /// whole frame. Blocks as long as Write of the stream does.
    [[nodiscard]] virtual bool WriteTo(Stream& stream);
    /// Reads the next frame of the stream and replaces the object by that of the frame. Blocks
    /// until the frame has arrived. Returns false, with the object unchanged, if no whole frame
    /// arrives, its length is 0 or too large, or its text isn't an object.
    [[nodiscard]] virtual bool ReadFrom(Stream& stream);
    /// Replaces the object by the one that `text` describes. Returns false, with the object
    /// unchanged, if the text isn't an object. Sets `failure` to the message of the parser, which
    /// is empty if the text follows the grammar.
    [[nodiscard]] bool ReadText(std::string_view text, std::string_view& failure);
    /// Removes all sections, so that the object can be used for another message. Nothing in the hub
    /// does so.
    virtual void Clear() { object.clear(); }
    /// Replaces the object by `other`.
    void Adopt(JsonObject other) { object = std::move(other); }

protected:
    JsonObject object;
};

}  // namespace vantry
