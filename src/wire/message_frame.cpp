#include "wire/message_frame.h"

#include <cstdint>
#include <limits>

#include "transport/frame/frame.h"

namespace vantry {

MessageFrame::MessageFrame() {
    for (const std::uint8_t byte : MessageFrameMagic) {
        bytes.push_back(static_cast<char>(byte));
    }
    bytes.resize(Frame::kHeadBytes);
}

bool MessageFrame::WriteTo(Stream& stream) {
    if (bytes.size() > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    std::size_t length = bytes.size() - Frame::kHeadBytes;
    for (std::size_t place = Frame::kMagicBytes; place < Frame::kHeadBytes; ++place) {
        bytes[place] = static_cast<char>(length & 0xFF);
        length >>= 8;
    }
    const auto size = static_cast<std::int32_t>(bytes.size());
    return stream.Write(reinterpret_cast<const std::uint8_t*>(bytes.data()), size) == size;
}

}  // namespace vantry
