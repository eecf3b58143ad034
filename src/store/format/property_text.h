#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vantry {

// The content of a property file: lines, each ended by one line feed, and behind them the check
// value of all the lines in two bytes, low byte first. A line is
//
//     groupGuid ":" guid "|" group ":" name "=" value
//
// of which the text before the first "|" is the key and everything before the first "=" behind
// that is the prefix. Nothing is escaped. The functions here access no file and are thread-safe.

/// One line without its line feed: `prefix` is everything before the first "=" behind the key, and
/// `value` everything after it.
struct StoredLine {
    std::string prefix;
    std::string value;
};

/// The lines by key, in the order of the bytes of the keys.
using StoredLines = std::map<std::string, StoredLine>;

/// Reads the content of a file into `lines`. Returns false if it is shorter than 3 bytes or has a
/// wrong check value, which leaves `lines` unchanged, or if it has a line of another form; its
/// good lines are read nevertheless. If a key occurs twice, the last line counts.
[[nodiscard]] bool ParsePropertyContent(std::string_view content, StoredLines& lines);

/// Returns whether ParsePropertyContent would return true, without the cost of keeping the lines.
[[nodiscard]] bool IsGoodPropertyContent(std::string_view content);

/// Returns the text before the check value, which isn't verified.
std::string_view TextOfPropertyContent(std::string_view content);

/// Returns the content of a file with that text: the text and its check value.
std::string MakePropertyContent(std::string_view text);

/// Returns the text with the first line that begins with `prefix` replaced by `line`, or with
/// `line` added at its end. A last line without a line feed gets one.
std::string ReplaceLine(std::string_view text, std::string_view prefix, std::string_view line);

}  // namespace vantry
