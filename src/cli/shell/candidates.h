#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/base/completion_place.h"
#include "cli/select/catalog.h"

namespace vantry::cli {

/// Returns the properties of the hub, or null if it can't be reached. Blocks up to the time-out.
/// The caller doesn't own the catalog, which is valid until the next call.
using CatalogSource = std::function<const Catalog*()>;

/// Returns how the hub is reached with the options before the place. Its time-out is two seconds,
/// because a person waits at the prompt.
Context ContextOf(const CompletionPlace& place);

/// Returns the words that may stand at the place and begin with `begin`, whatever the case of its
/// letters, in alphabetical order. `catalog` is called only if properties may stand there. Files
/// aren't looked for.
std::vector<std::string> CandidatesAt(const CompletionPlace& place, const std::string& begin,
                                      const CatalogSource& catalog);

/// Returns a hint about what may stand at the place, such as the allowed values, or an empty text.
std::string HintAt(const CompletionPlace& place, const std::string& begin,
                   const CatalogSource& catalog);

}  // namespace vantry::cli
