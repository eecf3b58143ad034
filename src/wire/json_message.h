#pragma once

#include <string_view>
#include <utility>

#include "transport/stream/stream.h"
#include "wire/json/json_value.h"
#include "wire/message_frame.h"

namespace vantry {

/// One JSON object that travels as one frame. Belongs to one thread at a time.
class JsonMessage {
public:
    JsonMessage() = default;
    virtual ~JsonMessage() = default;
    JsonMessage(const JsonMessage&) = delete;
    JsonMessage& operator=(const JsonMessage&) = delete;

    /// The object as one frame, for whoever writes it under locks or several times.
    MessageFrame ToFrame() const;
    /// Writes the object as one frame. False on a short write; the object stays.
    [[nodiscard]] virtual bool WriteTo(Stream& stream);
    /// Replaces the object by that of the frame which is next in the stream; its magic was
    /// recognised before. False, with the object kept, if the frame is cut short, its length is 0
    /// or too large, or its text is not of an object.
    [[nodiscard]] virtual bool ReadFrom(Stream& stream);
    /// Replaces the object by that of a frame's text. False, with the object kept, if the text is
    /// not of an object.
    [[nodiscard]] bool ReadText(std::string_view text);
    virtual void Clear() { object.clear(); }
    /// Replaces the object by one that was read elsewhere.
    void Adopt(JsonObject other) { object = std::move(other); }

protected:
    JsonObject object;
};

}  // namespace vantry
