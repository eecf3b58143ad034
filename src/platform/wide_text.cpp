#include "platform/wide_text.h"

#include <cstddef>
#include <cstdint>

namespace vantry {
namespace {

bool IsSurrogatePair(std::u16string_view wide, std::size_t at) {
    return at + 1 < wide.size() && (wide[at] & 0xFC00) == 0xD800 &&
           (wide[at + 1] & 0xFC00) == 0xDC00;
}

/// Appends a code point as UTF-8. The JSON reader has an encoder of its own, which overwrites the
/// escapes that it decodes and encodes single 16-bit units, in 3 bytes at most.
void AppendUtf8(std::string& text, std::uint32_t point) {
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        append(point);
    } else if (point < 0x800) {
        append(0xC0 | (point >> 6));
        append(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        append(0xE0 | (point >> 12));
        append(0x80 | ((point >> 6) & 0x3F));
        append(0x80 | (point & 0x3F));
    } else {
        append(0xF0 | (point >> 18));
        append(0x80 | ((point >> 12) & 0x3F));
        append(0x80 | ((point >> 6) & 0x3F));
        append(0x80 | (point & 0x3F));
    }
}

}  // namespace

std::string NarrowText(std::u16string_view wide) {
    std::string narrow;
    narrow.reserve(wide.size());
    for (const char16_t character : wide) {
        narrow.push_back(static_cast<char>(character & 0xFF));
    }
    return narrow;
}

std::string Utf8Text(std::u16string_view wide) {
    std::string text;
    for (std::size_t at = 0; at < wide.size(); ++at) {
        std::uint32_t point = wide[at];
        if (IsSurrogatePair(wide, at)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (wide[at + 1] & 0x3FFU);
            ++at;
        }
        AppendUtf8(text, point);
    }
    return text;
}

}  // namespace vantry
