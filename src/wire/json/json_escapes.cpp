// The character that an escape denotes is never longer than the escape, so memory of the size of
// the text is enough for the text without escapes. Bytes between two escapes are copied in blocks.
// A whole block may be written although only its first bytes are part of the result, which is what
// kUnescapeSlack is for.

#include "wire/json/json_escapes.h"

#include <algorithm>
#include <array>
#include <bit>

#include "wire/json/byte_block.h"

namespace vantry {
namespace {

constexpr std::size_t kUnicodeEscape = 6;

/// Returns the letter of the two-character escape of a byte, or 0 if it has none.
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

std::uint32_t HexValue(char digit) {
    return static_cast<std::uint32_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

/// The byte that a two-character escape denotes, indexed by the letter of the escape, or 0. The
/// escape \u has more characters and isn't included.
constexpr auto kUnescaped = [] {
    std::array<char, 256> bytes{};
    for (const char same : {'"', '\\', '/'}) {
        bytes[static_cast<unsigned char>(same)] = same;
    }
    bytes['b'] = '\b';
    bytes['f'] = '\f';
    bytes['n'] = '\n';
    bytes['r'] = '\r';
    bytes['t'] = '\t';
    return bytes;
}();

char Unescaped(char letter) { return kUnescaped[static_cast<unsigned char>(letter)]; }

/// Copies bytes up to the first double quote, backslash or the end, and advances both places by
/// their number.
void CopyPlainBytes(const char*& from, const char* end, char*& to) {
    while (end - from >= ByteBlock::kBytes) {
        const ByteBlock block(from);
        block.CopyTo(to);
        const std::uint32_t found = block.Find('\\') | block.Find('"');
        const std::ptrdiff_t plain = found != 0 ? std::countr_zero(found) : ByteBlock::kBytes;
        from += plain;
        to += plain;
        if (found != 0) {
            return;
        }
    }
    while (from != end && *from != '\\' && *from != '"') {
        *to++ = *from++;
    }
}

}  // namespace

std::size_t EscapedLength(std::string_view text) {
    std::size_t length = text.size();
    for (const char byte : text) {
        length += ExtraBytes(byte);
    }
    return length;
}

std::string EscapeJsonText(std::string_view text) {
    const std::size_t length = EscapedLength(text);
    if (length == text.size()) {
        return std::string(text);
    }
    constexpr std::string_view kHex = "0123456789abcdef";
    // The result is filled with backslashes, so that an escape only writes the bytes after its own.
    std::string escaped(length, '\\');
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
        return Unescaped(from[1]) != 0 ? 2 : 0;
    }
    const bool whole = end - from >= static_cast<std::ptrdiff_t>(kUnicodeEscape) &&
                       std::all_of(from + 2, from + kUnicodeEscape, IsHexDigit);
    return whole ? kUnicodeEscape : 0;
}

std::string UnescapeJsonString(std::string_view text) {
    std::string plain(text.size() + kUnescapeSlack, '\0');
    const char* from = text.data();
    const char* const end = from + text.size();
    std::size_t length = 0;
    for (;;) {
        const Unescaping part = UnescapeTo(plain.data() + length, from, end);
        length += part.length;
        if (part.stop == end || part.hasZero) {
            break;
        }
        // A double quote is an ordinary byte here.
        plain[length++] = *part.stop;
        from = part.stop + 1;
    }
    plain.resize(length);
    return plain;
}

Unescaping UnescapeTo(char* memory, const char* from, const char* end) {
    char* to = memory;
    // Where the result ends because of a zero byte; what follows is only checked.
    const char* zero = nullptr;
    for (;;) {
        CopyPlainBytes(from, end, to);
        while (end - from >= 2 && *from == '\\' && Unescaped(from[1]) != 0) {
            *to++ = Unescaped(from[1]);
            from += 2;
        }
        if (from == end || *from == '"') {
            break;
        }
        if (*from != '\\') {
            continue;
        }
        if (EscapeLength(from, end) != kUnicodeEscape) {
            break;
        }
        const std::uint32_t unit = HexValue(from[2]) << 12U | HexValue(from[3]) << 8U |
                                   HexValue(from[4]) << 4U | HexValue(from[5]);
        if (unit == 0 && zero == nullptr) {
            zero = to;
        }
        to = AppendUtf8CodePoint(to, unit);
        from += kUnicodeEscape;
    }
    return {from, static_cast<std::size_t>((zero != nullptr ? zero : to) - memory),
            zero != nullptr};
}

char* AppendUtf8CodePoint(char* to, std::uint32_t unit) {
    const auto append = [&to](std::uint32_t byte) { *to++ = static_cast<char>(byte); };
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
    return to;
}

}  // namespace vantry
