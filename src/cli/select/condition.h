#pragma once

#include <string>
#include <utility>

#include "client/result.h"

namespace vantry::cli {

/// A comparison of the value of a property, as a person writes it: "Fan Speed > 0".
///
/// The operators are = (or ==), !=, >, >=, <, <= and ~ (the value contains the text or, if that has
/// a *, ? or [, matches it as a glob). The name ends at the first operator. A name or text that
/// contains an operator, or begins or ends with a blank, is written in double quotes, in which a
/// backslash precedes a quote or a backslash.
class Condition {
public:
    /// Parses the text. Returns Refused, with an example, for a text of another form, and for one
    /// that compares by size with something that isn't a number.
    static client::Result<Condition> Parse(const std::string& text);

    /// Returns the name of the property as it was written, for FindByName.
    const std::string& Name() const { return name; }
    /// Returns whether the value fulfils the condition. Two numbers are equal whatever their
    /// spelling, and upper and lower case of texts are equal. A value that isn't a number fulfils
    /// no comparison by size.
    bool Holds(const std::string& value) const;
    /// Returns the condition in one spelling, whatever its own was, for messages.
    std::string Text() const;

private:
    enum class Comparison { Equal, NotEqual, Greater, GreaterOrEqual, Less, LessOrEqual, Like };

    Condition(std::string ofName, Comparison how, std::string with)
        : name(std::move(ofName)), comparison(how), operand(std::move(with)) {}

    std::string name;
    Comparison comparison;
    std::string operand;
};

}  // namespace vantry::cli
