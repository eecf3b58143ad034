#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "transport/frame/frame.h"
#include "transport/stream/stream.h"

namespace vantry::test {

/// A stream that discards what is written; reading yields one frame again and again. It is external
/// if it has an account.
class LoopStream final : public Stream {
public:
    explicit LoopStream(const std::string& text = "") : frame(FrameWith(text)) {}
    explicit LoopStream(std::shared_ptr<ConnectionAccount> account) : Stream(std::move(account)) {}
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const auto count = std::min(static_cast<std::size_t>(length), frame.size() - at);
        std::copy_n(frame.data() + at, count, buffer);
        at = (at + count) % frame.size();
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Write(const std::uint8_t*, std::int32_t length) override { return length; }
    void Close() override {}

private:
    static std::string FrameWith(const std::string& text) {
        std::string made(MessageFrameMagic.begin(), MessageFrameMagic.end());
        for (int shift = 0; shift < 32; shift += 8) {
            made.push_back(static_cast<char>(text.size() >> shift & 0xFF));
        }
        return made + text;
    }

    const std::string frame = FrameWith("");
    std::size_t at = 0;
};

}  // namespace vantry::test
