// A frame is made as one string as long as its texts are short. From 64 KiB on a text costs more to
// copy than to list, so the frame becomes a list of texts that other frames and streams share. The
// length in the head is set at the end, when it is known.

#include "wire/message_frame.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "transport/frame/frame.h"

namespace vantry {
namespace {

/// Writes the length of the text into the head of a frame.
void SetLength(std::string& head, std::size_t length) {
    for (std::size_t place = Frame::kMagicBytes; place < Frame::kHeadBytes; ++place) {
        head[place] = static_cast<char>(length & 0xFF);
        length >>= 8;
    }
}

}  // namespace

MessageFrame::MessageFrame(std::size_t expected) {
    bytes.reserve(expected);
    bytes.append(reinterpret_cast<const char*>(MessageFrameMagic.data()), Frame::kMagicBytes);
    bytes.resize(Frame::kHeadBytes);
}

void MessageFrame::AppendShared(const SharedFrame::Text& text) {
    EndText();
    others.push_back(text);
    endedBytes += text->size();
}

void MessageFrame::EndText() {
    endedBytes += bytes.size();
    auto text = std::make_shared<std::string>(std::move(bytes));
    bytes.clear();
    if (first) {
        others.push_back(std::move(text));
    } else {
        first = std::move(text);
    }
}

bool MessageFrame::WriteTo(Stream& stream) {
    if (first || bytes.size() >= kSharedFrom) {
        return WriteShared(stream, Share());
    }
    SetLength(bytes, bytes.size() - Frame::kHeadBytes);
    const auto size = static_cast<std::int32_t>(bytes.size());
    return stream.Write(reinterpret_cast<const std::uint8_t*>(bytes.data()), size) == size;
}

SharedFrame MessageFrame::Share() {
    if (!bytes.empty()) {
        EndText();
    }
    SharedFrame frame(first);
    for (SharedFrame::Text& text : others) {
        frame.Add(std::move(text));
    }
    SetLength(*std::exchange(first, nullptr), frame.Size() - Frame::kHeadBytes);
    others.clear();
    endedBytes = 0;
    return frame;
}

bool MessageFrame::WriteShared(Stream& stream, const SharedFrame& frame) {
    if (frame.Size() > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    return stream.WriteShared(frame) == static_cast<std::int32_t>(frame.Size());
}

}  // namespace vantry
