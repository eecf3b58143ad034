#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

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

    /// Of the last token, if it was a string: its bytes. They stand in the text itself, or in
    /// `unescaped` if escapes had to be undone.
    std::string_view Text(std::string& unescaped) const;
    /// Of the last token, if it was of such a type.
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
    std::string_view raw;
    bool hasEscapes = false;
};

}  // namespace vantry
