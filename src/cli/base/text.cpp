// Texts for a terminal.
//
// Values may hold any bytes. For a table they are measured character by character with the widths
// of Unicode, whatever locale the user has, and what isn't UTF-8 counts as one column a byte.
// Control characters are replaced before a text is printed, so that a value can't move the cursor
// or change the colours.

#include "cli/base/text.h"

#include <fmt/core.h>

#include <clocale>
#include <cwchar>

#include "cli/base/json.h"

namespace vantry::cli {
namespace {

/// How many bytes a character of a text has, and how many columns it needs on a terminal.
struct Glyph {
    std::size_t bytes;
    std::size_t columns;
};

/// Selects a locale with the character widths of Unicode, once.
void UseUnicodeWidths() {
    static const char* const done = std::setlocale(LC_CTYPE, "C.UTF-8");
    static_cast<void>(done);
}

Glyph FirstGlyph(std::string_view text) {
    UseUnicodeWidths();
    std::mbstate_t state{};
    wchar_t character = 0;
    const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (bytes == 0 || bytes > text.size()) {
        return {1, 1};
    }
    const int columns = wcwidth(character);
    // A variation selector makes an emoji of the character before it, which is wide.
    constexpr std::string_view kEmojiSelector = "\xEF\xB8\x8F";
    if (columns > 0 && text.substr(bytes).starts_with(kEmojiSelector)) {
        return {bytes + kEmojiSelector.size(), 2};
    }
    return {bytes, columns < 0 ? 1 : static_cast<std::size_t>(columns)};
}

}  // namespace

std::size_t ColumnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const Glyph glyph = FirstGlyph(text);
        columns += glyph.columns;
        text.remove_prefix(glyph.bytes);
    }
    return columns;
}

std::string Fitted(std::string_view text, std::size_t columns) {
    const std::size_t needed = ColumnsOf(text);
    if (needed <= columns) {
        return std::string(text) + std::string(columns - needed, ' ');
    }
    if (columns == 0) {
        return "";
    }
    std::string fitted;
    std::size_t used = 0;
    while (!text.empty()) {
        const Glyph glyph = FirstGlyph(text);
        if (used + glyph.columns > columns - 1) {
            break;
        }
        fitted.append(text.substr(0, glyph.bytes));
        used += glyph.columns;
        text.remove_prefix(glyph.bytes);
    }
    return fitted + "…" + std::string(columns - 1 - used, ' ');
}

std::vector<std::string> Wrapped(std::string_view text, std::size_t columns, std::size_t most) {
    std::vector<std::string> lines;
    std::size_t used = 0;
    while (!text.empty()) {
        std::size_t length = 1;
        while (length < text.size() && ContinuesCharacter(text[length])) {
            ++length;
        }
        const std::string character(text.substr(0, length));
        const std::size_t width = ColumnsOf(character);
        if (lines.empty() || used + width > columns) {
            if (lines.size() == most) {
                lines.back() = Fitted(lines.back() + character, columns);
                return lines;
            }
            lines.emplace_back();
            used = 0;
        }
        lines.back() += character;
        used += width;
        text.remove_prefix(length);
    }
    return lines;
}

void RemoveLastCharacter(std::string& text) {
    while (!text.empty() && ContinuesCharacter(text.back())) {
        text.pop_back();
    }
    if (!text.empty()) {
        text.pop_back();
    }
}

std::string Printable(std::string_view text) {
    std::string printable;
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '\n') {
            printable += "\\n";
        } else if (byte == '\t') {
            printable += "\\t";
        } else if (value < 0x20 || value == 0x7F) {
            printable += fmt::format("\\x{:02x}", value);
        } else {
            printable += byte;
        }
    }
    return printable;
}

std::string Utf8(const std::string& text) { return Json::parse(OneLine(text)).get<std::string>(); }

std::string Counted(std::size_t number, const std::string& singular) {
    std::string text = std::to_string(number) + " " + singular;
    if (number != 1 && text.ends_with('y')) {
        return text.replace(text.size() - 1, 1, "ies");
    }
    return number == 1 ? text : text + "s";
}

std::string SizeText(std::uint64_t bytes) {
    if (bytes < 1024) {
        return fmt::format("{} B", bytes);
    }
    auto size = static_cast<double>(bytes) / 1024;
    const char* unit = "KiB";
    for (const char* const larger : {"MiB", "GiB", "TiB"}) {
        if (size < 1024) {
            break;
        }
        size /= 1024;
        unit = larger;
    }
    return fmt::format("{:.{}f} {}", size, size < 9.95 ? 1 : 0, unit);
}

std::string ShellQuoted(const std::string& text) {
    constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:@%+,";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) {
        return text;
    }
    std::string quoted = "'";
    for (const char byte : text) {
        quoted += byte == '\'' ? "'\\''" : std::string(1, byte);
    }
    return quoted + "'";
}

std::string JsonString(const std::string& text) { return OneLine(text); }

std::string CsvText(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char byte : text) {
        quoted += byte == '"' ? "\"\"" : std::string(1, byte);
    }
    return quoted + "\"";
}

}  // namespace vantry::cli
