#include "transport/socket/output_part.h"

#include <algorithm>
#include <array>

namespace vantry {

std::vector<OutputPart> PartsOf(const SharedFrame& frame) {
    std::vector<OutputPart> parts;
    parts.reserve(frame.Texts().size());
    for (const SharedFrame::Text& text : frame.Texts()) {
        parts.push_back({*text, text});
    }
    return parts;
}

ssize_t SendFirst(Descriptors& calls, int number, std::span<const OutputPart> parts) {
    if (parts.size() == 1) {
        return calls.Send(number, parts.front().text);
    }
    std::array<iovec, kPartsAtOnce> texts;
    const std::size_t most = std::min(parts.size(), texts.size());
    for (std::size_t place = 0; place < most; ++place) {
        texts[place] = VectorOf(parts[place].text);
    }
    return calls.SendParts(number, std::span(texts).first(most));
}

}  // namespace vantry
