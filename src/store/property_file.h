#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace vantry {

// The property file: lines, each ended by one line feed, and behind them the check value of all
// the lines in two bytes, low byte first. A line is
//
//     groupGuid ":" guid "|" group ":" name "=" value
//
// of which the text before the first "|" is the key and everything before the first "=" behind
// that is the prefix. Bytes stand as they are.

struct StoredLine {
    std::string prefix;
    std::string value;
};

/// By key, in the order of bytes.
using StoredLines = std::map<std::string, StoredLine>;

/// Reads the file into `lines`. False if it is missing, shorter than 3 bytes or has a wrong check
/// value, all of which leave `lines` alone, or if it has a line of another form; its good lines are
/// taken then all the same. A key that comes twice keeps its last line.
bool ReadPropertyFile(const std::filesystem::path& path, StoredLines& lines);

/// The text of a file without its check value, which is not looked at; empty if there is none.
/// False if the file broke off while it was read.
[[nodiscard]] bool ReadPropertyText(const std::filesystem::path& path, std::string& text);

/// The text with the first line that begins with `prefix` replaced by `line`, or with `line` added
/// at its end. A last line without a line feed gets one.
std::string ReplaceLine(std::string_view text, std::string_view prefix, std::string_view line);

/// Makes the file anew of the text and its check value. False if the disk refused any of it; the
/// file then has no valid check value.
[[nodiscard]] bool WritePropertyText(const std::filesystem::path& path, std::string_view text);

}  // namespace vantry
