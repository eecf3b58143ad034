#pragma once

#include <vector>

namespace vantry::cli {

/// A page of `vantry help`: the content of a file of this folder, which is embedded in the program.
/// Its first line is "# " and a summary. Lines with "$ " in front are examples; a test runs them.
struct HelpTopic {
    const char* name;
    const char* text;
};

/// Returns all topics, sorted by name.
const std::vector<HelpTopic>& HelpTopics();

}  // namespace vantry::cli
