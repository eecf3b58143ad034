// Reading and composing the content of a property file. A content is good if its check value is
// right and all its lines have the right form. ForEachLine tests both in one pass, for readers that
// keep the lines and for writers that only need to know whether the content is good.

#include "store/format/property_text.h"

#include <algorithm>
#include <cstdint>

#include "store/format/check_value.h"

namespace vantry {
namespace {

constexpr std::size_t kTailBytes = 2;

struct LineParts {
    std::string_view key;
    std::string_view prefix;
    std::string_view value;
};

bool SplitLine(std::string_view line, LineParts& parts) {
    const std::size_t pipe = line.find('|');
    const std::size_t equals = pipe == std::string_view::npos ? pipe : line.find('=', pipe);
    if (pipe == 0 || equals == std::string_view::npos) {
        return false;
    }
    parts = {line.substr(0, pipe), line.substr(0, equals), line.substr(equals + 1)};
    return true;
}

/// Calls `take` with each good line. Returns false if any line has another form. If the check value
/// is wrong, returns false and calls nothing.
template <typename Take>
bool ForEachLine(std::string_view content, const Take& take) {
    if (content.size() <= kTailBytes ||
        MakePropertyContent(TextOfPropertyContent(content)) != content) {
        return false;
    }
    bool good = true;
    std::string_view text = TextOfPropertyContent(content);
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        LineParts parts;
        if (SplitLine(text.substr(0, end), parts)) {
            take(parts);
        } else {
            good = false;
        }
        text.remove_prefix(end + 1);
    }
    return good;
}

}  // namespace

bool ParsePropertyContent(std::string_view content, StoredLines& lines) {
    return ForEachLine(content, [&](const LineParts& parts) {
        lines[std::string(parts.key)] = {std::string(parts.prefix), std::string(parts.value)};
    });
}

bool IsGoodPropertyContent(std::string_view content) {
    return ForEachLine(content, [](const LineParts&) {});
}

std::string_view TextOfPropertyContent(std::string_view content) {
    return content.substr(0, content.size() - std::min(content.size(), kTailBytes));
}

std::string MakePropertyContent(std::string_view text) {
    const std::uint16_t check = CheckValue(text);
    std::string content;
    content.reserve(text.size() + kTailBytes);
    content.append(text);
    content.push_back(static_cast<char>(check & 0xFF));
    content.push_back(static_cast<char>(check >> 8));
    return content;
}

std::string ReplaceLine(std::string_view text, std::string_view prefix, std::string_view line) {
    std::string result;
    result.reserve(text.size() + line.size() + 2);
    bool replaced = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view old = text.substr(0, end);
        const bool isTheOne = !replaced && old.starts_with(prefix);
        result.append(isTheOne ? line : old).push_back('\n');
        replaced = replaced || isTheOne;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (!replaced) {
        result.append(line).push_back('\n');
    }
    return result;
}

}  // namespace vantry
