#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vantry::cli {

/// Returns the text in lower case; only the letters of ASCII change.
std::string Lower(std::string text);

/// Returns `; did you mean "one", "other"?` with the nearest of the names, at most `most` of them,
/// or nothing if none is near. Upper and lower case are equal.
std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names,
                       std::size_t most = 3);

/// Returns `; NEXT`, or `; did you mean "one"? NEXT` with what DidYouMean returned.
std::string ThenNext(const std::string& didYouMean, const std::string& next);

}  // namespace vantry::cli
