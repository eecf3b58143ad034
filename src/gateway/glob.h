#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/property.h"

namespace vantry::gateway {

enum class LetterCase { Exact, Ignored };

/// Returns whether the whole text matches the glob. "*" stands for any text, slashes included, and
/// "?" for one byte; every other byte stands for itself. Takes a time in proportion to the product
/// of both lengths at most, so a glob may come from a stranger. LetterCase concerns the letters of
/// ASCII.
bool GlobMatches(std::string_view glob, std::string_view text, LetterCase letters);

/// Returns whether the glob matches "Name", "Group/Name", "Component/Group/Name" or
/// "COMPONENT-GUID/GROUP-GUID/GUID" of the property.
bool GlobNames(std::string_view glob, const client::Property& property, LetterCase letters);

/// The globs of --allow-write. An object doesn't change, so any thread may use it.
class WriteRules {
public:
    WriteRules() = default;
    explicit WriteRules(std::vector<std::string> given) : globs(std::move(given)) {}

    bool AllowAny() const { return !globs.empty(); }
    bool Allow(const client::Property& property) const;

private:
    std::vector<std::string> globs;
};

}  // namespace vantry::gateway
