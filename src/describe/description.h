#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::describe {

/// What is known of a property beside its present state. What isn't known is empty. The hub doesn't
/// know descriptions and enforces none of this.
struct Description {
    std::optional<client::ValueType> type = {};
    /// The unit of the number, such as "ms" or "°C".
    std::string unit = {};
    std::optional<double> minimum = {};
    std::optional<double> maximum = {};
    /// The distance between allowed numbers, counted from the minimum or else from 0.
    std::optional<double> step = {};
    /// The allowed texts; if there are none, every text is allowed.
    std::vector<std::string> words = {};
    /// One or more sentences for a person.
    std::string text = {};
    /// Whether the owner accepts writes.
    std::optional<bool> writable = {};

    bool operator==(const Description&) const = default;
};

/// Returns "text", "number", "bool" or "command".
const char* NameOf(client::ValueType type);

/// Returns the number that the whole text is, as strtod reads it, or nothing. A text that begins
/// with a blank, "inf" and "nan" are no numbers.
std::optional<double> NumberIn(const std::string& text);

/// Returns the text to send when a person types `typed` as the new value: for a bool or a command,
/// "True" for true, on, yes and 1, and "False" for their opposites, in upper or lower case; any
/// other text as it is. Returns Refused, with a text that says what is allowed, if the description
/// rules the value out or says that the property can't be written. `name` is used in that text.
client::Result<std::string> Fit(const Description& description, const std::string& name,
                                const std::string& typed);

/// Returns the allowed values in words, such as `a number from 250 to 60000 ms in steps of 250`, or
/// nothing if every text is allowed.
std::string AllowedValues(const Description& description);

}  // namespace vantry::describe
