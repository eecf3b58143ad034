#include "wire/json_message.h"

#include <string>
#include <utility>

#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"
#include "wire/json/json_reader.h"
#include "wire/json/json_writer.h"

namespace vantry {
const Lock JsonDocumentLock;

MessageFrame JsonMessage::ToFrame() const {
    MessageFrame frame;
    ScopedLock guard(JsonDocumentLock);
    WriteJsonObject(frame.Buffer(), object);
    return frame;
}

bool JsonMessage::WriteTo(Stream& stream) { return ToFrame().WriteTo(stream); }

bool JsonMessage::ReadFrom(Stream& stream) {
    std::string text;
    if (ReadFrame(stream, text, Frame::kMaximumText) != FrameEnd::Whole) {
        return false;
    }
    JsonValue root;
    {
        ScopedLock guard(JsonDocumentLock);
        root = ParseJsonString(text);
    }
    if (root.type != JsonType::Object) {
        return false;
    }
    object = std::move(root.object);
    return true;
}

}  // namespace vantry
