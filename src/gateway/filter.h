#pragma once

#include <map>
#include <optional>
#include <string>

#include "client/property.h"
#include "client/result.h"

namespace vantry::gateway {

/// The choice of properties that the query of a request makes.
class Filter {
public:
    /// Reads the parameters `component`, `group` and `name` (globs that match a name or a GUID in
    /// any case), `match` (see GlobNames) and `available` (true or false). Returns Refused for any
    /// other parameter, so that a misspelt one isn't taken for one that fits everything.
    static client::Result<Filter> ForList(const std::map<std::string, std::string>& query);
    /// Does the same without `available`: a stream must report withdrawals too.
    static client::Result<Filter> ForStream(const std::map<std::string, std::string>& query);

    /// Returns whether the property fits all parameters that were given.
    bool Accepts(const client::Property& property) const;
    /// Returns whether it accepts every property.
    bool AcceptsAll() const;

private:
    std::string component;
    std::string group;
    std::string name;
    std::string match;
    std::optional<bool> available;
};

}  // namespace vantry::gateway
