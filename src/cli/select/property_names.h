#pragma once

#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// Returns whether `text` contains `pattern` or, if that has a *, ? or [, matches it as a glob, in
/// which * matches slashes too. Upper and lower case are equal.
bool MatchesPattern(const std::string& text, const std::string& pattern);
/// Returns whether the text has one of the characters of a glob.
bool IsGlob(const std::string& text);

/// Returns the one property of `all` that has this name, see NamesOf. Exact matches have priority
/// over those without regard to case. If not exactly one property matches, the error (NotFound)
/// lists the candidates or the nearest names.
client::Result<client::Property> FindByName(const std::vector<client::Property>& all,
                                            const std::string& name);

/// Returns the properties that the words select, each once, in the order of the words: those of
/// FindByName; if there is none of that name, all that have a name which matches the word as a
/// glob, or else all of the group with that name. No word selects everything. The error (NotFound)
/// is that of the first word that selects nothing.
client::Result<std::vector<client::Property>> SelectByName(const std::vector<client::Property>& all,
                                                           const std::vector<std::string>& words);

}  // namespace vantry::cli
