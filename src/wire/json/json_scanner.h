#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace vantry {

/// A string of the text, without its quotes and escapes.
struct JsonScannedText {
    std::string_view text;
    /// Whether the text had escapes. It isn't a part of the scanned text then, but lives as long as
    /// the scanner.
    bool isApart = false;
};

/// Divides text into the tokens of the hub's dialect of JSON, which accepts some texts that JSON
/// rejects and the reverse.
///
/// The rule with the longest match applies, and the earlier of two with equal matches; if a longer
/// attempt fails, the last rule that matched applies. A byte that begins no token is skipped, so
/// the content of an unterminated string is scanned as ordinary input. Scanning never fails, and
/// takes time linear in the length of the text.
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

    /// Returns the next token, and End at the end of the text.
    [[nodiscard]] Token Next();
    /// Consumes the next token and returns true if it is this token of a single byte, preceded by
    /// nothing but spaces. This is faster than Next for the tokens that are most frequent.
    bool TakeIf(char single) {
        SkipBlanks();
        if (at == end || *at != single) {
            return false;
        }
        ++at;
        return true;
    }

    /// The value of the last token is in the field for its type.
    JsonScannedText string;
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
    /// Scans a string whose first backslash is at `place`.
    bool ScanEscaped(const char* place);
    bool ScanSingleQuoted();
    bool ScanNumber(Token& token);
    bool ScanWord(std::string_view word);

    const char* at;
    const char* const end;
    /// A double quote before this place begins no string, because an earlier attempt that passed it
    /// has failed.
    const char* noStringBefore;
    /// The memory of the texts that had escapes, and its first free byte. It is made when the first
    /// of them is found, and has the size of the text that follows.
    std::unique_ptr<char[]> apart;
    char* free = nullptr;
};

}  // namespace vantry
