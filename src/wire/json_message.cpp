#include "wire/json_message.h"

#include <string>
#include <utility>

#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"
#include "wire/json/json_reader.h"
#include "wire/json/json_writer.h"

namespace vantry {

MessageFrame JsonMessage::ToFrame() const {
    MessageFrame frame;
    WriteJsonObject(frame.Buffer(), object);
    return frame;
}

bool JsonMessage::WriteTo(Stream& stream) { return ToFrame().WriteTo(stream); }

bool JsonMessage::ReadFrom(Stream& stream) {
    std::string text;
    return ReadFrame(stream, text, Frame::kMaximumText) == FrameEnd::Whole && ReadText(text);
}

bool JsonMessage::ReadText(std::string_view text) {
    JsonValue root = ParseJsonString(text);
    if (root.type != JsonType::Object) {
        return false;
    }
    object = std::move(root.object);
    return true;
}

}  // namespace vantry
