#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/shared_frame.h"
#include "transport/stream/stream.h"

namespace vantry {

/// A frame to be sent: the head that every message has, followed by the text. Used by one thread.
class MessageFrame {
public:
    /// `expected` is the memory in bytes that is reserved for the frame.
    explicit MessageFrame(std::size_t expected = 512);

    /// Returns the bytes so far, which begin with the head unless Append has shared a text. The
    /// caller appends text to them.
    std::string& Buffer() { return bytes; }
    /// Appends a text. A long one isn't copied but shared, and Buffer then returns what follows it.
    void Append(const SharedFrame::Text& text) {
        if (CopiedBytes(*text) != 0) {
            bytes.append(*text);
        } else {
            AppendShared(text);
        }
    }
    /// Returns the number of bytes so far.
    std::size_t Size() const { return endedBytes + bytes.size(); }
    /// Returns how many bytes Append copies of this text.
    static std::size_t CopiedBytes(std::string_view text) {
        return text.size() < kSharedFrom ? text.size() : 0;
    }
    /// Writes the whole frame in one call. Returns false if the stream doesn't accept all of it;
    /// nothing more may be written to that stream then. The frame may be empty afterwards. Blocks
    /// as long as Write of the stream does.
    [[nodiscard]] bool WriteTo(Stream& stream);
    /// Returns the whole frame, which several streams may share, and leaves this one empty.
    [[nodiscard]] SharedFrame Share();
    /// Writes a frame that Share returned. Returns false as WriteTo does, and for a frame whose
    /// length a stream can't express.
    [[nodiscard]] static bool WriteShared(Stream& stream, const SharedFrame& frame);

private:
    /// From this length on, a text is shared instead of copied.
    static constexpr std::size_t kSharedFrom = 64U << 10U;

    void AppendShared(const SharedFrame::Text& text);
    /// Ends the text that is being made, and begins another.
    void EndText();

    std::string bytes;
    /// The first text, which begins with the head, if it has ended.
    std::shared_ptr<std::string> first;
    /// The texts that have ended, without the first.
    std::vector<SharedFrame::Text> others;
    /// How many bytes the texts have that have ended.
    std::size_t endedBytes = 0;
};

}  // namespace vantry
