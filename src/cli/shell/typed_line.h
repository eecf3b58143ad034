#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::cli {

/// A line as it is typed: words, which blanks separate, with the quotes and backslashes of a shell.
struct TypedLine {
    /// The words before the last one, without quotes.
    std::vector<std::string> words;
    /// The last word, which may be empty, as it is meant and as it is written.
    std::string last;
    std::string lastAsWritten;
    /// The quote that is open at the end, or 0.
    char openQuote = 0;

    static TypedLine Parse(std::string_view line);
    /// Returns all words if no quote is open, and the last one isn't left out if it has quotes.
    std::vector<std::string> AllWords() const;
};

/// Returns the text as a word of such a line, in double quotes if it needs any.
std::string QuotedWord(const std::string& text);
/// Returns what replaces the last word when it is completed by bash: behind the quote that is open,
/// or with backslashes, and from the last = or : on, where bash takes a new word to begin.
std::string ReplacementForBash(const TypedLine& line, const std::string& text);

}  // namespace vantry::cli
