// A line is read once from left to right. The only state is the quote that is open, so each prefix
// of a line can be read while it is typed. The last word is kept twice: as it is meant, which is
// compared with candidates, and as it is written, whose length says how much a completion replaces.
// Of a shell's language there is no more than quotes and backslashes.

#include "cli/shell/typed_line.h"

#include <algorithm>

namespace vantry::cli {
namespace {

constexpr std::string_view kSpecial = " \t\"'\\|&;()<>$`*?[]{}#~!";

std::string Escaped(const std::string& text, std::string_view special) {
    std::string escaped;
    for (const char byte : text) {
        escaped += special.find(byte) == std::string_view::npos ? "" : "\\";
        escaped += byte;
    }
    return escaped;
}

}  // namespace

TypedLine TypedLine::Parse(std::string_view line) {
    TypedLine parsed;
    for (std::size_t at = 0; at < line.size(); ++at) {
        const char byte = line[at];
        if (parsed.openQuote == 0 && (byte == ' ' || byte == '\t' || byte == '\n')) {
            if (!parsed.lastAsWritten.empty()) {
                parsed.words.push_back(std::move(parsed.last));
            }
            parsed.last.clear();
            parsed.lastAsWritten.clear();
            continue;
        }
        parsed.lastAsWritten += byte;
        if (parsed.openQuote == 0 && (byte == '"' || byte == '\'')) {
            parsed.openQuote = byte;
        } else if (byte == parsed.openQuote) {
            parsed.openQuote = 0;
        } else if (byte == '\\' && parsed.openQuote != '\'' && at + 1 < line.size()) {
            // In double quotes a backslash is one unless it stands before these.
            const char next = line[++at];
            parsed.lastAsWritten += next;
            const bool isPlain = parsed.openQuote == '"' && next != '"' && next != '\\' &&
                                 next != '$' && next != '`';
            parsed.last += isPlain ? std::string{byte, next} : std::string(1, next);
        } else {
            parsed.last += byte;
        }
    }
    return parsed;
}

std::vector<std::string> TypedLine::AllWords() const {
    std::vector<std::string> all = words;
    if (!lastAsWritten.empty()) {
        all.push_back(last);
    }
    return all;
}

std::string QuotedWord(const std::string& text) {
    return !text.empty() && text.find_first_of(kSpecial) == std::string::npos
               ? text
               : "\"" + Escaped(text, "\"\\$`") + "\"";
}

std::string ReplacementForBash(const TypedLine& line, const std::string& text) {
    if (line.openQuote == '\'') {
        std::string replacement;
        for (const char byte : text) {
            replacement += byte == '\'' ? "'\\''" : std::string(1, byte);
        }
        return replacement;
    }
    if (line.openQuote == '"') {
        return Escaped(text, "\"\\$`");
    }
    // Both are the same up to the last of these, except for upper and lower case and backslashes.
    const auto breaks = std::count_if(line.last.begin(), line.last.end(),
                                      [](char byte) { return byte == '=' || byte == ':'; });
    std::size_t begin = 0;
    for (auto number = breaks; number > 0; --number) {
        begin = text.find_first_of("=:", begin) + 1;
    }
    return Escaped(text.substr(begin), kSpecial);
}

}  // namespace vantry::cli
