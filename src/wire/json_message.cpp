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
    std::string_view failure;
    return ReadFrame(stream, text, Frame::kMaximumText) == FrameEnd::Whole &&
           ReadText(text, failure);
}

bool JsonMessage::ReadText(std::string_view text, std::string_view& failure) {
    JsonValue root;
    failure = ParseJson(text, root);
    if (root.type != JsonType::Object) {
        return false;
    }
    object = std::move(root.object);
    return true;
}

}  // namespace vantry
