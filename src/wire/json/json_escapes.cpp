#include "wire/json/json_escapes.h"

#include <algorithm>
#include <charconv>

namespace vantry {
namespace {

constexpr std::size_t kUnicodeEscape = 6;

/// The letter of the two-character escape of a byte, or 0.
char ShortEscape(char byte) {
    switch (byte) {
        case '\b':
            return 'b';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\f':
            return 'f';
        case '\r':
            return 'r';
        case '"':
        case '\\':
            return byte;
        default:
            return 0;
    }
}

bool IsControl(char byte) { return static_cast<unsigned char>(byte) < 0x20; }

std::size_t ExtraBytes(char byte) {
    if (ShortEscape(byte) != 0) {
        return 1;
    }
    return IsControl(byte) ? kUnicodeEscape - 1 : 0;
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The byte that a two-character escape stands for. \u is not among them.
char Unescaped(char letter) {
    switch (letter) {
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return letter;
    }
}

}  // namespace

std::string EscapeJsonText(std::string_view text) {
    std::size_t extra = 0;
    for (const char byte : text) {
        extra += ExtraBytes(byte);
    }
    if (extra == 0) {
        return std::string(text);
    }
    constexpr std::string_view kHex = "0123456789abcdef";
    // Backslashes to begin with, so that an escape only has to write what follows its own.
    std::string escaped(text.size() + extra, '\\');
    auto out = escaped.begin();
    for (const char byte : text) {
        if (const char letter = ShortEscape(byte)) {
            *++out = letter;
        } else if (IsControl(byte)) {
            const auto value = static_cast<unsigned char>(byte);
            for (const char next : {'u', '0', '0', kHex[value >> 4], kHex[value & 0xF]}) {
                *++out = next;
            }
        } else {
            *out = byte;
        }
        ++out;
    }
    return escaped;
}

std::size_t EscapeLength(const char* from, const char* end) {
    if (end - from < 2) {
        return 0;
    }
    if (from[1] != 'u') {
        constexpr std::string_view kLetters = "\"\\/bfnrt";
        return kLetters.find(from[1]) != std::string_view::npos ? 2 : 0;
    }
    const bool whole = end - from >= static_cast<std::ptrdiff_t>(kUnicodeEscape) &&
                       std::all_of(from + 2, from + kUnicodeEscape, IsHexDigit);
    return whole ? kUnicodeEscape : 0;
}

std::string UnescapeJsonString(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    while (!text.empty()) {
        const std::size_t escape = std::min(text.find('\\'), text.size());
        plain.append(text, 0, escape);
        text.remove_prefix(escape);
        if (text.size() < 2) {
            break;
        }
        if (text[1] == 'u') {
            std::uint32_t unit = 0;
            std::from_chars(text.data() + 2, text.data() + kUnicodeEscape, unit, 16);
            AppendUtf8CodePoint(plain, unit);
            text.remove_prefix(kUnicodeEscape);
        } else {
            plain.push_back(Unescaped(text[1]));
            text.remove_prefix(2);
        }
    }
    plain.resize(std::min(plain.find('\0'), plain.size()));
    return plain;
}

void AppendUtf8CodePoint(std::string& text, std::uint32_t unit) {
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (unit < 0x80) {
        append(unit);
    } else if (unit < 0x800) {
        append(0xC0 | (unit >> 6));
        append(0x80 | (unit & 0x3F));
    } else {
        append(0xE0 | ((unit >> 12) & 0xF));
        append(0x80 | ((unit >> 6) & 0x3F));
        append(0x80 | (unit & 0x3F));
    }
}

}  // namespace vantry
