#pragma once

#include <algorithm>
#include <string>

#include "transport/frame/frame.h"
#include "transport/stream/stream.h"

namespace vantry::test {

/// An internal stream that discards what is written; reading yields one frame again and again.
class LoopStream final : public Stream {
public:
    explicit LoopStream(const std::string& text = "") {
        frame.append(MessageFrameMagic.begin(), MessageFrameMagic.end());
        for (int shift = 0; shift < 32; shift += 8) {
            frame.push_back(static_cast<char>(text.size() >> shift & 0xFF));
        }
        frame += text;
    }
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const auto count = std::min(static_cast<std::size_t>(length), frame.size() - at);
        std::copy_n(frame.data() + at, count, buffer);
        at = (at + count) % frame.size();
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t*, std::int32_t length) override { return length; }
    void Close() override {}

private:
    std::string frame;
    std::size_t at = 0;
};

}  // namespace vantry::test
