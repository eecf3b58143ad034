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

/// From this length on, a text is shared instead of copied.
constexpr std::size_t kSharedFrom = 64U << 10U;

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

void MessageFrame::Append(const SharedFrame::Text& text) {
    if (CopiedBytes(*text) != 0) {
        bytes.append(*text);
        return;
    }
    EndText();
    others.push_back(text);
}

std::size_t MessageFrame::CopiedBytes(std::string_view text) {
    return text.size() < kSharedFrom ? text.size() : 0;
}

void MessageFrame::EndText() {
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
    return frame;
}

bool MessageFrame::WriteShared(Stream& stream, const SharedFrame& frame) {
    if (frame.Size() > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    return stream.WriteShared(frame) == static_cast<std::int32_t>(frame.Size());
}

}  // namespace vantry
