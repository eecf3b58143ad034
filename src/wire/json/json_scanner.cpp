#include "wire/json/json_scanner.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "wire/json/json_escapes.h"

namespace vantry {
namespace {

constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// A set high bit for each byte of `block` that equals `byte`; exact up to the lowest such one.
constexpr std::uint64_t Matches(std::uint64_t block, unsigned char byte) {
    const std::uint64_t difference = block ^ (kOnes * byte);
    return (difference - kOnes) & ~difference & kHighBits;
}

/// The first double quote or backslash, eight bytes at a time.
const char* FindQuoteOrBackslash(const char* from, const char* end) {
    if constexpr (std::endian::native == std::endian::little) {
        for (; end - from >= 8; from += 8) {
            std::uint64_t block = 0;
            std::memcpy(&block, from, sizeof block);
            if (const std::uint64_t found = Matches(block, '"') | Matches(block, '\\')) {
                return from + std::countr_zero(found) / 8;
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

/// As atof, whatever the locale; 0 for the short forms that hold no number.
double ToReal(const char* from, const char* end) {
    double number = 0;
    const auto result = std::from_chars(*from == '+' ? from + 1 : from, end, number);
    if (result.ec != std::errc::result_out_of_range) {
        return number;
    }
    // Too small if the exponent is negative or the digits stand behind the point, else too large.
    const std::string_view text(from, static_cast<std::size_t>(end - from));
    const std::size_t firstDigit = text.find_first_of("123456789");
    const bool small = text.find_first_of("eE") == std::string_view::npos
                           ? text.find('.') < firstDigit
                           : text.find("e-") != std::string_view::npos ||
                                 text.find("E-") != std::string_view::npos;
    return std::copysign(small ? 0.0 : HUGE_VAL, *from == '-' ? -1.0 : 1.0);
}

}  // namespace

JsonScanner::JsonScanner(std::string_view text)
    : at(text.data()),
      end(text.data() + std::min(text.find('\0'), text.size())),
      noStringBefore(at) {}

JsonScanner::Token JsonScanner::Next() {
    while (at != end) {
        Token token = Token::End;
        switch (*at) {
            case '"':
                if (ScanDoubleQuoted()) {
                    return Token::String;
                }
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

std::string JsonScanner::TakeString() const {
    return hasEscapes ? UnescapeJsonString(raw) : std::string(raw);
}

}  // namespace vantry
