#include "wire/json/json_scanner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "wire/json/json_escapes.h"

namespace vantry {
namespace {

/// Sixteen bytes that the compiler compares at once, on whatever processor.
using Block = unsigned char __attribute__((vector_size(16)));

/// The first double quote or backslash, a block at a time.
const char* FindQuoteOrBackslash(const char* from, const char* end) {
    constexpr std::ptrdiff_t kBlockBytes = sizeof(Block);
    if constexpr (std::endian::native == std::endian::little) {
        for (; end - from >= kBlockBytes; from += kBlockBytes) {
            Block block;
            std::memcpy(&block, from, sizeof block);
            const auto found = std::bit_cast<std::array<std::uint64_t, 2>>(
                static_cast<Block>((block == '"') | (block == '\\')));
            if (found[0] != 0) {
                return from + std::countr_zero(found[0]) / 8;
            }
            if (found[1] != 0) {
                return from + 8 + std::countr_zero(found[1]) / 8;
            }
        }
    }
    return std::find_if(from, end, [](char c) { return c == '"' || c == '\\'; });
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipDigits(const char* from, const char* end) {
    return std::find_if_not(from, end, IsDigit);
}

bool IsSign(const char* at, const char* end) { return at != end && (*at == '+' || *at == '-'); }

/// Behind the exponent that stands at `from`, or `from` if none does.
const char* SkipExponent(const char* from, const char* end) {
    if (from == end || (*from != 'e' && *from != 'E')) {
        return from;
    }
    const char* const digits = from + 1 + (IsSign(from + 1, end) ? 1 : 0);
    const char* const behind = SkipDigits(digits, end);
    return behind == digits ? from : behind;
}

/// As atoi on a 64-bit machine: what doesn't fit is cut to its low 32 bits behind saturation.
std::int64_t ToInteger(const char* from, const char* end) {
    const bool negative = *from == '-';
    std::int64_t number = 0;
    if (std::from_chars(*from == '+' ? from + 1 : from, end, number).ec != std::errc{}) {
        number = negative ? std::numeric_limits<std::int64_t>::min()
                          : std::numeric_limits<std::int64_t>::max();
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

/// The power of ten of the first digit that isn't 0, as in 1.5 * 10^power. An exponent that no
/// 64-bit integer holds counts as the largest one of its sign.
std::int64_t PowerOfTen(std::string_view number) {
    const std::size_t behindDigits = std::min(number.find_first_of("eE"), number.size());
    const std::string_view digits = number.substr(0, behindDigits);
    const std::size_t point = std::min(digits.find('.'), digits.size());
    const std::size_t first = std::min(digits.find_first_of("123456789"), digits.size());
    const auto power = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);

    std::string_view exponent = number.substr(std::min(behindDigits + 1, number.size()));
    const bool negative = exponent.starts_with('-');
    exponent.remove_prefix(negative || exponent.starts_with('+') ? 1 : 0);
    std::int64_t shift = 0;
    if (std::from_chars(exponent.data(), exponent.data() + exponent.size(), shift).ec ==
        std::errc::result_out_of_range) {
        shift = std::numeric_limits<std::int32_t>::max() * std::int64_t{1024};
    }
    return power + (negative ? -shift : shift);
}

/// As atof, whatever the locale; 0 for the short forms that hold no number.
double ToReal(const char* from, const char* end) {
    double number = 0;
    const auto result = std::from_chars(*from == '+' ? from + 1 : from, end, number);
    if (result.ec != std::errc::result_out_of_range) {
        return number;
    }
    const bool small = PowerOfTen({from, static_cast<std::size_t>(end - from)}) < 0;
    return std::copysign(small ? 0.0 : HUGE_VAL, *from == '-' ? -1.0 : 1.0);
}

}  // namespace

JsonScanner::JsonScanner(std::string_view text)
    : at(text.data()),
      end(text.data() + std::min(text.find('\0'), text.size())),
      noStringBefore(at) {}

JsonScanner::Token JsonScanner::Next() {
    SkipBlanks();
    while (at != end) {
        Token token = Token::End;
        if (*at == '"' && ScanDoubleQuoted()) {
            return Token::String;
        }
        switch (*at) {
            case '"':
                break;
            case '\'':
                if (ScanSingleQuoted()) {
                    return Token::String;
                }
                break;
            case '[':
                ++at;
                return Token::OpenArray;
            case ']':
                ++at;
                return Token::CloseArray;
            case '{':
                ++at;
                return Token::OpenObject;
            case '}':
                ++at;
                return Token::CloseObject;
            case ',':
                ++at;
                return Token::Comma;
            case ':':
                ++at;
                return Token::Colon;
            case 't':
                if (ScanWord("true")) {
                    boolean = true;
                    return Token::Bool;
                }
                break;
            case 'f':
                if (ScanWord("false")) {
                    boolean = false;
                    return Token::Bool;
                }
                break;
            case 'n':
                if (ScanWord("null")) {
                    return Token::Null;
                }
                break;
            case ' ':
                break;
            default:
                if (ScanNumber(token)) {
                    return token;
                }
                break;
        }
        ++at;
    }
    return Token::End;
}

bool JsonScanner::ScanDoubleQuoted() {
    if (at < noStringBefore) {
        return false;
    }
    hasEscapes = false;
    const char* place = FindQuoteOrBackslash(at + 1, end);
    while (place != end && *place == '\\') {
        const std::size_t length = EscapeLength(place, end);
        if (length == 0) {
            break;
        }
        hasEscapes = true;
        place = FindQuoteOrBackslash(place + length, end);
    }
    if (place == end || *place != '"') {
        // Every quote up to here is an escaped one, and an attempt from there would meet the same
        // bytes and fail at the same place.
        noStringBefore = place;
        return false;
    }
    raw = {at + 1, place};
    at = place + 1;
    return true;
}

bool JsonScanner::ScanSingleQuoted() {
    const char* const closing = std::find(at + 1, end, '\'');
    if (closing == end) {
        return false;
    }
    hasEscapes = false;
    raw = {at + 1, closing};
    at = closing + 1;
    return true;
}

bool JsonScanner::ScanNumber(Token& token) {
    const char* const start = at;
    const char* place = start + (IsSign(start, end) ? 1 : 0);
    const char* const whole = place;
    place = SkipDigits(place, end);
    const char* const afterWhole = place;
    if (place != end && *place == '.') {
        place = SkipDigits(place + 1, end);
    }
    place = SkipExponent(place, end);
    if (place == start) {
        return false;
    }
    at = place;
    if (place == afterWhole && afterWhole != whole) {
        token = Token::Integer;
        integer = ToInteger(start, place);
    } else {
        token = Token::Float;
        real = ToReal(start, place);
    }
    return true;
}

bool JsonScanner::ScanWord(std::string_view word) {
    if (!std::string_view(at, end).starts_with(word)) {
        return false;
    }
    at += word.size();
    return true;
}

std::string_view JsonScanner::Text(std::string& unescaped) const {
    if (!hasEscapes) {
        return raw;
    }
    unescaped = UnescapeJsonString(raw);
    return unescaped;
}

}  // namespace vantry
