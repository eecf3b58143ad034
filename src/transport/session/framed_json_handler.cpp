#include "transport/session/framed_json_handler.h"

#include <array>

#include "transport/frame/frame.h"

namespace vantry {

std::uint32_t FramedJsonHandler::Recognise(const std::shared_ptr<PeekStream>& stream) {
    std::array<std::uint8_t, Frame::kMagicBytes> seen{};
    if (stream->PeekCopy(seen.data(), Frame::kMagicBytes) <= 0) {
        return kNoPosition;
    }
    return seen == MessageFrameMagic ? 0 : kNoPosition;
}

std::shared_ptr<DataObject> FramedJsonHandler::Open(const std::shared_ptr<PeekStream>& stream) {
    std::shared_ptr<DataStream> message = std::make_shared<FramedDataStream>(stream);
    message->SetSelf(message);
    return message;
}

std::uint32_t FramedJsonHandler::MinimumBytes() const { return Frame::kMagicBytes; }

}  // namespace vantry
