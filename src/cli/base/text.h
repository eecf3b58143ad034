#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::cli {

/// Returns the number of columns that the text needs on a terminal. Wide characters need two,
/// combining ones none, and each byte that isn't UTF-8 one.
std::size_t ColumnsOf(std::string_view text);
/// Returns the text, shortened or padded with blanks to exactly `columns` columns. A shortened text
/// ends in "…".
std::string Fitted(std::string_view text, std::size_t columns);
/// Returns the text with its control characters replaced by visible escapes such as "\n".
std::string Printable(std::string_view text);

/// Returns whether the byte isn't the first one of its character in UTF-8.
inline bool ContinuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}
/// Returns the text divided into lines of at most `columns` columns, at most `most` (at least 1) of
/// them. If there would be more, the last one ends in "…".
std::vector<std::string> Wrapped(std::string_view text, std::size_t columns, std::size_t most);
/// Removes the last character, if there is one.
void RemoveLastCharacter(std::string& text);

/// Returns the text with each byte that isn't UTF-8 replaced by U+FFFD.
std::string Utf8(const std::string& text);
/// Returns a number of things, such as "1 line", "2 lines" or "3 properties".
std::string Counted(std::size_t number, const std::string& singular);
/// Returns a number of bytes such as "812 B", "4.1 KiB" or "20 MiB".
std::string SizeText(std::uint64_t bytes);

/// Returns the text as one word of a shell, in quotes if necessary.
std::string ShellQuoted(const std::string& text);
/// Returns the text as a JSON string, with quotes and escapes. Bytes that aren't UTF-8 become
/// U+FFFD.
std::string JsonString(const std::string& text);
/// Returns the text as a field of a CSV file, in quotes if it needs them.
std::string CsvText(const std::string& text);

}  // namespace vantry::cli
