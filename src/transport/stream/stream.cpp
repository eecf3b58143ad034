#include "transport/stream/stream.h"

#include <algorithm>

namespace vantry {

std::int32_t Stream::CopyFrom(Stream& source, std::int32_t length) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
    const std::int32_t got = source.Read(bytes.data(), length);
    return got < 0 ? got : Write(bytes.data(), std::min(got, length));
}

void Stream::GiveUpWhenCut(const std::shared_ptr<Stream>& stream) {
    stream->Account()->OnCut([held = std::weak_ptr<Stream>(stream)] {
        if (const std::shared_ptr<Stream> cut = held.lock()) {
            cut->GiveUp();
        }
    });
}

}  // namespace vantry
