#include "wire/message_frame.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "transport/frame/frame.h"

namespace vantry {
namespace {

/// From this length on, a stream that must keep unsent bytes shares the frame instead of copying
/// it.
constexpr std::size_t kSharedFrom = 64U << 10U;

}  // namespace

MessageFrame::MessageFrame() {
    for (const std::uint8_t byte : MessageFrameMagic) {
        bytes.push_back(static_cast<char>(byte));
    }
    bytes.resize(Frame::kHeadBytes);
}

void MessageFrame::SetLength() {
    std::size_t length = bytes.size() - Frame::kHeadBytes;
    for (std::size_t place = Frame::kMagicBytes; place < Frame::kHeadBytes; ++place) {
        bytes[place] = static_cast<char>(length & 0xFF);
        length >>= 8;
    }
}

bool MessageFrame::WriteTo(Stream& stream) {
    if (bytes.size() >= kSharedFrom) {
        return WriteShared(stream, Share());
    }
    SetLength();
    const auto size = static_cast<std::int32_t>(bytes.size());
    return stream.Write(reinterpret_cast<const std::uint8_t*>(bytes.data()), size) == size;
}

std::shared_ptr<const std::string> MessageFrame::Share() {
    SetLength();
    return std::make_shared<const std::string>(std::move(bytes));
}

bool MessageFrame::WriteShared(Stream& stream, const std::shared_ptr<const std::string>& frame) {
    if (frame->size() > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    return stream.WriteShared(frame) == static_cast<std::int32_t>(frame->size());
}

}  // namespace vantry
