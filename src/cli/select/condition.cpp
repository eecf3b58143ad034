// Conditions on values, for `vantry watch --until`.
//
// A text is split at the first operator that stands outside double quotes; what is before it is the
// name and what is behind it the operand. Whether numbers or texts are compared is decided by the
// value and the operand together, because the protocol carries no types.

#include "cli/select/condition.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "cli/select/property_names.h"
#include "describe/description.h"

namespace vantry::cli {
namespace {

using describe::NumberIn;

// In the order of the values of Condition::Comparison.
constexpr std::array<const char*, 7> kOperators = {"=", "!=", ">", ">=", "<", "<=", "~"};

client::Error NotACondition(const std::string& text, const char* problem) {
    return {client::ErrorCode::Refused, "\"" + text + "\" is not a condition: " + problem +
                                            "; write for example 'Fan Speed > 0'"};
}

/// Returns the position of the first operator outside double quotes, or npos.
std::size_t OperatorIn(std::string_view text) {
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (quoted && text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
        } else if (!quoted && (text[at] == '=' || text[at] == '>' || text[at] == '<' ||
                               text[at] == '~' || text.substr(at, 2) == "!=")) {
            return at;
        }
    }
    return std::string_view::npos;
}

/// Returns the text without blanks around it and, if it is in double quotes, without them and their
/// backslashes.
std::string Unquoted(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return "";
    }
    text = text.substr(first, text.find_last_not_of(" \t") - first + 1);
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
        return std::string(text);
    }
    text = text.substr(1, text.size() - 2);
    std::string unquoted;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 1 < text.size()) {
            ++at;
        }
        unquoted += text[at];
    }
    return unquoted;
}

}  // namespace

client::Result<Condition> Condition::Parse(const std::string& text) {
    const std::size_t at = OperatorIn(text);
    if (at == std::string::npos) {
        return NotACondition(text, "it has none of = != > >= < <= ~");
    }
    std::size_t length = at + 1 < text.size() && text[at + 1] == '=' && text[at] != '~' ? 2 : 1;
    std::string sign = text.substr(at, length);
    if (sign == "==") {
        sign = "=";
    }
    const auto found = std::find(kOperators.begin(), kOperators.end(), sign);
    const auto comparison = static_cast<Comparison>(found - kOperators.begin());
    std::string name = Unquoted(std::string_view(text).substr(0, at));
    std::string operand = Unquoted(std::string_view(text).substr(at + length));
    if (name.empty()) {
        return NotACondition(text, "it names no property");
    }
    const bool bySize = comparison >= Comparison::Greater && comparison <= Comparison::LessOrEqual;
    if (bySize && !NumberIn(operand)) {
        return NotACondition(text, "what stands behind the operator is no number");
    }
    return Condition(std::move(name), comparison, std::move(operand));
}

bool Condition::Holds(const std::string& value) const {
    const std::optional<double> number = NumberIn(value);
    const std::optional<double> limit = NumberIn(operand);
    const bool bothNumbers = number && limit;
    const bool same =
        bothNumbers ? *number == *limit : strcasecmp(value.c_str(), operand.c_str()) == 0;
    switch (comparison) {
        case Comparison::Equal:
            return same;
        case Comparison::NotEqual:
            return !same;
        case Comparison::Greater:
            return bothNumbers && *number > *limit;
        case Comparison::GreaterOrEqual:
            return bothNumbers && *number >= *limit;
        case Comparison::Less:
            return bothNumbers && *number < *limit;
        case Comparison::LessOrEqual:
            return bothNumbers && *number <= *limit;
        case Comparison::Like:
            return MatchesPattern(value, operand);
    }
    return false;
}

std::string Condition::Text() const {
    return name + " " + kOperators[static_cast<std::size_t>(comparison)] + " " + operand;
}

}  // namespace vantry::cli
