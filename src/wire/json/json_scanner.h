#pragma once

#include <cstdint>
#include <string_view>

namespace vantry {

/// A string as it stands between its quotes in the text.
struct JsonRawText {
    std::string_view raw;
    /// Only good ones, which UnescapeJsonString undoes.
    bool hasEscapes = false;
};

/// Cuts text into the tokens of the hub's own language, which is wider and narrower than JSON.
///
/// The longest match wins, the earlier rule among equals; after a failed longer attempt the
/// scanner falls back to the last rule that matched. Whatever starts no token vanishes byte by
/// byte, so a broken string falls apart into ordinary input. Never fails, and takes a time that
/// grows with the length of the text alone.
class JsonScanner {
public:
    enum class Token {
        End,
        String,
        Integer,
        Float,
        Bool,
        Null,
        OpenArray,
        CloseArray,
        OpenObject,
        CloseObject,
        Comma,
        Colon
    };

    /// Scans up to the first zero byte. The text must outlive the scanner.
    explicit JsonScanner(std::string_view text);

    Token Next();
    /// Takes the next token if it is this one of a single byte, with nothing but blanks in front:
    /// the short way for what mostly comes.
    bool TakeIf(char single) {
        SkipBlanks();
        if (at == end || *at != single) {
            return false;
        }
        ++at;
        return true;
    }

    /// The value of the last token, in the field for its type.
    JsonRawText string;
    std::int64_t integer = 0;
    double real = 0;
    bool boolean = false;

private:
    void SkipBlanks() {
        while (at != end && *at == ' ') {
            ++at;
        }
    }
    bool ScanDoubleQuoted();
    bool ScanSingleQuoted();
    bool ScanNumber(Token& token);
    bool ScanWord(std::string_view word);

    const char* at;
    const char* const end;
    /// A double quote before this place begins no string: an attempt that came by has failed.
    const char* noStringBefore;
};

}  // namespace vantry
