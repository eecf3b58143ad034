#include "wire/json_message.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "transport/frame/frame.h"
#include "wire/json/json_reader.h"
#include "wire/json/json_writer.h"

namespace vantry {
namespace {

bool ReadWhole(Stream& stream, std::uint8_t* buffer, std::uint32_t length) {
    std::uint32_t got = 0;
    while (got < length) {
        const std::int32_t count =
            stream.Read(buffer + got, static_cast<std::int32_t>(length - got));
        if (count <= 0) {
            return false;
        }
        got += static_cast<std::uint32_t>(count);
    }
    return true;
}

/// The length that stands in the head of the next frame, or 0 if there is none that can be read.
std::uint32_t ReadLength(Stream& stream) {
    std::array<std::uint8_t, Frame::kHeadBytes> head;
    if (!ReadWhole(stream, head.data(), Frame::kHeadBytes)) {
        return 0;
    }
    std::uint32_t length = 0;
    for (std::int32_t place = Frame::kHeadBytes - 1; place >= Frame::kMagicBytes; --place) {
        length = length << 8 | head[static_cast<std::size_t>(place)];
    }
    return length > Frame::kMaximumText ? 0 : length;
}

}  // namespace

const Lock JsonDocumentLock;

MessageFrame JsonMessage::ToFrame() const {
    MessageFrame frame;
    ScopedLock guard(JsonDocumentLock);
    WriteJsonObject(frame.Buffer(), object);
    return frame;
}

bool JsonMessage::WriteTo(Stream& stream) { return ToFrame().WriteTo(stream); }

bool JsonMessage::ReadFrom(Stream& stream) {
    const std::uint32_t length = ReadLength(stream);
    if (length == 0) {
        return false;
    }
    // Not cleared: what a peer only promises to send must cost no memory.
    const auto text = std::make_unique_for_overwrite<std::uint8_t[]>(length);
    if (!ReadWhole(stream, text.get(), length)) {
        return false;
    }
    JsonValue root;
    {
        ScopedLock guard(JsonDocumentLock);
        root = ParseJsonString({reinterpret_cast<const char*>(text.get()), length});
    }
    if (root.type != JsonType::Object) {
        return false;
    }
    object = std::move(root.object);
    return true;
}

}  // namespace vantry
