// What a description says about a value.
//
// A description that leaves something out allows it: only what it states is checked. Numbers are
// those of strtod, because the range of the hub's own numbers isn't that of every component.

#include "describe/description.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace vantry::describe {
namespace {

using client::Error;
using client::ErrorCode;
using client::Result;
using client::ValueType;

/// Returns the shortest text of the number.
std::string Short(double number) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed);
    return end.ec == std::errc{} ? std::string(text, end.ptr) : std::to_string(number);
}

std::optional<bool> TruthIn(const std::string& text) {
    for (const char* word : {"true", "on", "yes", "1"}) {
        if (strcasecmp(text.c_str(), word) == 0) {
            return true;
        }
    }
    for (const char* word : {"false", "off", "no", "0"}) {
        if (strcasecmp(text.c_str(), word) == 0) {
            return false;
        }
    }
    return std::nullopt;
}

bool IsStep(const Description& description, double number) {
    if (!description.step) {
        return true;
    }
    const double steps = (number - description.minimum.value_or(0)) / *description.step;
    return std::abs(steps - std::round(steps)) < 1e-6;
}

bool IsAllowedNumber(const Description& description, const std::string& text) {
    const std::optional<double> number = NumberIn(text);
    return number && (!description.minimum || *number >= *description.minimum) &&
           (!description.maximum || *number <= *description.maximum) &&
           IsStep(description, *number);
}

std::string Numbers(const Description& description) {
    std::string text = description.step == 1 ? "a whole number" : "a number";
    const std::string unit = description.unit.empty() ? "" : " " + description.unit;
    if (description.minimum && description.maximum) {
        text += " from " + Short(*description.minimum) + " to " + Short(*description.maximum);
    } else if (description.minimum) {
        text += " of at least " + Short(*description.minimum);
    } else if (description.maximum) {
        text += " of at most " + Short(*description.maximum);
    } else if (!unit.empty()) {
        return text + " in" + unit;
    }
    text += unit;
    return description.step && description.step != 1
               ? text + " in steps of " + Short(*description.step)
               : text;
}

}  // namespace

std::optional<double> NumberIn(const std::string& text) {
    constexpr const char* kBegins = "+-.0123456789";
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (text.empty() || std::string(kBegins).find(text.front()) == std::string::npos ||
        end != text.c_str() + text.size() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return number;
}

const char* NameOf(ValueType type) {
    switch (type) {
        case ValueType::Number:
            return "number";
        case ValueType::Bool:
            return "bool";
        case ValueType::Command:
            return "command";
        default:
            return "text";
    }
}

std::string AllowedValues(const Description& description) {
    if (description.type == ValueType::Bool) {
        return "True or False";
    }
    if (description.type == ValueType::Command) {
        return "True, which runs it";
    }
    if (description.type == ValueType::Number) {
        return Numbers(description);
    }
    std::string text;
    for (const std::string& word : description.words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return description.words.size() > 1 ? "one of " + text : text;
}

Result<std::string> Fit(const Description& description, const std::string& name,
                        const std::string& typed) {
    if (description.writable == false) {
        return Error{ErrorCode::Refused, "\"" + name + "\" can't be written, it is read-only"};
    }
    const Error wrong{ErrorCode::Refused, "\"" + name + "\" takes " + AllowedValues(description) +
                                              "; \"" + typed + "\" isn't that"};
    if (description.type == ValueType::Bool || description.type == ValueType::Command) {
        const std::optional<bool> truth = TruthIn(typed);
        if (!truth || (description.type == ValueType::Command && !*truth)) {
            return wrong;
        }
        return std::string(*truth ? "True" : "False");
    }
    if (description.type == ValueType::Number && !IsAllowedNumber(description, typed)) {
        return wrong;
    }
    const bool isWord = description.words.empty() ||
                        std::find(description.words.begin(), description.words.end(), typed) !=
                            description.words.end();
    return isWord ? Result<std::string>(typed) : Result<std::string>(wrong);
}

}  // namespace vantry::describe
