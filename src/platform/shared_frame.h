#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantry {

/// A frame that several connections send, as a list of texts whose bytes follow each other. A
/// connection that has to keep a part of it keeps references to texts instead of copies, and a long
/// text may also be in other frames. The texts never change. One thread makes a frame; then any
/// thread may read it.
class SharedFrame {
public:
    using Text = std::shared_ptr<const std::string>;

    SharedFrame() = default;
    /// Makes a frame of one text.
    explicit SharedFrame(Text text) { Add(std::move(text)); }

    void Add(Text text) {
        size += text->size();
        texts.push_back(std::move(text));
    }
    const std::vector<Text>& Texts() const { return texts; }
    /// Returns the frame as one text, which is a copy if it has several.
    Text Joined() const {
        if (texts.size() == 1) {
            return texts.front();
        }
        std::string whole;
        whole.reserve(size);
        for (const Text& text : texts) {
            whole += *text;
        }
        return std::make_shared<const std::string>(std::move(whole));
    }
    /// Returns the number of bytes.
    std::size_t Size() const { return size; }

private:
    std::vector<Text> texts;
    std::size_t size = 0;
};

}  // namespace vantry
