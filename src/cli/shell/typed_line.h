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

    /// Reads the line. Every line can be read: a quote may be open at its end.
    static TypedLine Parse(std::string_view line);
    /// Returns all words, with the last one unless it is empty and has no quotes.
    std::vector<std::string> AllWords() const;
};

/// Returns the text as a word of such a line, in double quotes if it needs any.
std::string QuotedWord(const std::string& text);
/// Returns what replaces the last word of the line when bash completes it to `text`: what follows
/// the quote that is open, or a text with backslashes. It begins behind the last = or :, where a
/// new word begins for bash.
std::string ReplacementForBash(const TypedLine& line, const std::string& text);

}  // namespace vantry::cli
