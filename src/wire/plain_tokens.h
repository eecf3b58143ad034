#pragma once

#include <cstddef>
#include <string_view>

#include "wire/field_start.h"

namespace vantry {

/// Returns whether no string of the text needs more than being cut out: a backslash begins an
/// escape, and a zero byte ends the text for the parser.
inline bool HasOnlyPlainStrings(std::string_view text) {
    return text.find('\\') == std::string_view::npos && text.find('\0') == std::string_view::npos;
}

/// Takes the tokens of a text with plain strings one after the other. Only spaces may stand between
/// them. Once an operation other than TakeTogether has returned false, the results of later ones
/// mean nothing.
class PlainTokens {
public:
    explicit PlainTokens(std::string_view text) : at(text.data()), end(text.data() + text.size()) {}

    /// Takes one byte, after any spaces. Returns whether it was there.
    bool Take(char single) {
        SkipSpaces();
        if (at == end || *at != single) {
            return false;
        }
        ++at;
        return true;
    }
    /// Takes a string in double quotes and stores what is between them.
    bool TakeString(std::string_view& content) { return Take('"') && TakeRestOfString(content); }
    /// Takes a key and the colon after it.
    bool TakeKey(std::string_view key) {
        if (!Take('"') || !Rest().starts_with(key)) {
            return false;
        }
        at += key.size();
        if (at == end || *at != '"') {
            return false;
        }
        ++at;
        return Take(':');
    }
    /// Takes `before`, a key, the colon after it and a string, which it stores. The way in which
    /// the hub writes them is recognised with a few instructions, for which the key is a constant.
    template <const std::string_view& kKey>
    bool TakeField(char before, std::string_view& content) {
        constexpr std::string_view kUsual = FieldStart<kKey>::View();
        if (at != end && *at == before && Rest().substr(1).starts_with(kUsual)) {
            at += 1 + kUsual.size();
            return TakeRestOfString(content);
        }
        return Take(before) && TakeKey(kKey) && TakeString(content);
    }
    /// Takes the spaces and returns whether nothing is left.
    bool AtEnd() {
        SkipSpaces();
        return at == end;
    }

private:
    /// Takes the rest of a string with its closing quote, and stores it without the quote.
    bool TakeRestOfString(std::string_view& content) {
        const std::size_t length = Rest().find('"');
        if (length == std::string_view::npos) {
            return false;
        }
        content = {at, length};
        at += length + 1;
        return true;
    }
    std::string_view Rest() const { return {at, static_cast<std::size_t>(end - at)}; }
    void SkipSpaces() {
        while (at != end && *at == ' ') {
            ++at;
        }
    }

    const char* at;
    const char* end;
};

}  // namespace vantry
