#pragma once

#include <chrono>
#include <map>
#include <string>

#include "cli/base/terminal.h"
#include "cli/select/catalog.h"

namespace vantry::cli {

/// How `vantry watch` writes a change.
struct ChangeFormat {
    bool json = false;
    /// Writes date and time by RFC 3339 in place of the time of day. JSON always has both.
    bool fullTime = false;
    /// A text with {time}, {name}, {value}, {unit}, {component}, {group}, {origin} and the escapes
    /// \n and \t; empty for the usual line.
    std::string text;

    /// Returns Refused if the text has another word in braces.
    client::Outcome Check() const;
};

/// Returns a change as a line with a line feed. A present value reads "Name is value", a change
/// "Name = value", and a difference that was found by reading again says so.
std::string ChangeLine(const ChangeFormat& format, const Catalog& catalog,
                       const client::Property& change, std::chrono::system_clock::time_point when,
                       const Style& style);

/// Drops repeated notifications. The hub sends one record per change, each with the latest value,
/// so n changes within a period arrive as n identical records.
class DuplicateFilter {
public:
    /// Returns whether the change differs from the last one of its property, which it then
    /// replaces.
    bool IsNew(const client::Property& change);

private:
    std::map<client::PropertyId, std::string> last;
};

}  // namespace vantry::cli
