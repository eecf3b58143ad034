#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantry::cli {

/// Cuts a stream of bytes into frames. What isn't a frame is passed on as well, so nothing of the
/// stream is lost except for what is beyond the bound of a long frame.
class FrameCutter {
public:
    /// Called with the first bytes of a frame, `most` of them at most, and its whole length.
    using Sink = std::function<void(std::string_view kept, std::uint64_t length)>;

    FrameCutter(std::size_t most, Sink frames) : mostBytes(most), sink(std::move(frames)) {}

    /// Adds the next bytes of the stream, and calls the sink for each frame that they complete.
    void Take(std::string_view bytes);
    /// Passes on what has arrived of an unfinished frame, with the length that it would have had.
    void End();

private:
    void TakeHead(std::string_view& bytes);
    void TakeText(std::string_view& bytes);
    void PassOn();

    const std::size_t mostBytes;
    const Sink sink;
    std::string kept;
    /// What the frame has in all, once its head is there, and what of it is still to come.
    std::uint64_t length = 0;
    std::uint64_t missing = 0;
};

}  // namespace vantry::cli
