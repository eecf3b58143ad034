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

    /// Of the last token, if it was one with a value.
    std::string TakeString() const;
    std::int64_t integer = 0;
    double real = 0;
    bool boolean = false;

private:
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
