// The first byte of a token decides which rule applies. Two properties need care.
//
// Longest match: when a rule fails after some bytes, the scanner must continue after the longest
// shorter match. Only strings, words and exponents can fail in this way. A failed string or word
// has no shorter match, so its first byte is skipped and scanning continues after it. A failed
// exponent isn't part of its number.
//
// Linear time: after an unterminated string the whole content is scanned again, and each quote in
// it could begin another attempt. However, every quote that the first attempt passed is an escaped
// one, and an attempt from there would pass the same bytes and fail at the same place. The scanner
// keeps that place in noStringBefore and begins no string before it.

#include "wire/json/json_scanner.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "wire/json/byte_block.h"
#include "wire/json/json_escapes.h"

namespace vantry {
namespace {

/// Returns the first double quote or backslash, or `end`.
const char* FindQuoteOrBackslash(const char* from, const char* end) {
    for (; end - from >= ByteBlock::kBytes; from += ByteBlock::kBytes) {
        const ByteBlock block(from);
        if (const std::uint32_t found = block.Find('"') | block.Find('\\')) {
            return from + std::countr_zero(found);
        }
    }
    return std::find_if(from, end, [](char c) { return c == '"' || c == '\\'; });
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipDigits(const char* from, const char* end) {
    return std::find_if_not(from, end, IsDigit);
}

bool IsSign(const char* at, const char* end) { return at != end && (*at == '+' || *at == '-'); }

/// Returns the place after the exponent at `from`, or `from` if there is no exponent.
const char* SkipExponent(const char* from, const char* end) {
    if (from == end || (*from != 'e' && *from != 'E')) {
        return from;
    }
    const char* const digits = from + 1 + (IsSign(from + 1, end) ? 1 : 0);
    const char* const behind = SkipDigits(digits, end);
    return behind == digits ? from : behind;
}

/// Returns the same as atoi on a 64-bit machine: a number outside the range of 64 bits becomes the
/// largest or smallest one of that range, and its low 32 bits are the result, as a signed number.
std::int64_t ToInteger(const char* from, const char* end) {
    const bool negative = *from == '-';
    std::int64_t number = 0;
    if (std::from_chars(*from == '+' ? from + 1 : from, end, number).ec != std::errc{}) {
        number = negative ? std::numeric_limits<std::int64_t>::min()
                          : std::numeric_limits<std::int64_t>::max();
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

/// Returns the distance from the first digit other than 0 to the decimal point, after the exponent
/// has moved the point; it is negative if the digit follows the point. An exponent outside the
/// range of 64 bits counts as a very large one.
std::int64_t DigitsInFront(std::string_view number) {
    const std::size_t behindDigits = std::min(number.find_first_of("eE"), number.size());
    const std::string_view digits = number.substr(0, behindDigits);
    const std::size_t point = std::min(digits.find('.'), digits.size());
    const std::size_t first = std::min(digits.find_first_of("123456789"), digits.size());
    const auto inFront = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);

    std::string_view exponent = number.substr(std::min(behindDigits + 1, number.size()));
    const bool negative = exponent.starts_with('-');
    exponent.remove_prefix(negative || exponent.starts_with('+') ? 1 : 0);
    std::int64_t shift = 0;
    if (std::from_chars(exponent.data(), exponent.data() + exponent.size(), shift).ec ==
        std::errc::result_out_of_range) {
        shift = std::numeric_limits<std::int32_t>::max() * std::int64_t{1024};
    }
    return inFront + (negative ? -shift : shift);
}

/// Returns the same as atof in the C locale: infinity for a number that is too large, and 0 for a
/// number that is too small or has no digits.
double ToReal(const char* from, const char* end) {
    double number = 0;
    const auto result = std::from_chars(*from == '+' ? from + 1 : from, end, number);
    if (result.ec != std::errc::result_out_of_range) {
        return number;
    }
    const bool small = DigitsInFront({from, static_cast<std::size_t>(end - from)}) < 0;
    return std::copysign(small ? 0.0 : HUGE_VAL, *from == '-' ? -1.0 : 1.0);
}

}  // namespace

JsonScanner::JsonScanner(std::string_view text)
    : at(text.data()),
      end(text.data() + std::min(text.find('\0'), text.size())),
      noStringBefore(at) {}

// This is one function, because it is one switch: a token costs one jump by its first byte, and all
// bytes that begin one are seen together.
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
    const char* const place = FindQuoteOrBackslash(at + 1, end);
    if (place != end && *place == '\\') {
        return ScanEscaped(place);
    }
    if (place == end) {
        noStringBefore = place;
        return false;
    }
    string = {{at + 1, place}, false};
    at = place + 1;
    return true;
}

bool JsonScanner::ScanEscaped(const char* place) {
    if (!apart) {
        // No two strings overlap, and none is longer without its escapes.
        apart = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(end - at) +
                                                       kUnescapeSlack);
        free = apart.get();
    }
    char* const escapes = std::copy(at + 1, place, free);
    const Unescaping result = UnescapeTo(escapes, place, end);
    if (result.stop == end || *result.stop != '"') {
        noStringBefore = result.stop;
        return false;
    }
    string = {{free, escapes + result.length}, true};
    free = escapes + result.length;
    at = result.stop + 1;
    return true;
}

bool JsonScanner::ScanSingleQuoted() {
    const char* const closing = std::find(at + 1, end, '\'');
    if (closing == end) {
        return false;
    }
    string = {{at + 1, closing}, false};
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

}  // namespace vantry
