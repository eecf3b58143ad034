#pragma once

#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vantry::cli {

/// A place in a command line that is being typed, and what may stand there.
struct CompletionPlace {
    enum class Kind {
        /// One of `words`, or anything.
        Words,
        /// The name of a property.
        Property,
        /// The name of a property or its value, for `vantry set`.
        Assignment,
        File,
        /// The name of a printer, see NamedPrinters.
        Printer,
        /// The name of a group or component.
        Group,
        Component
    };

    Kind kind = Kind::Words;
    std::vector<std::string> words = {};
    /// The command with its arguments before the place, without options.
    std::vector<std::string> before = {};
    /// The options before the place that have a value, such as "--tcp".
    std::map<std::string, std::string> options = {};
};

/// Returns the place behind these words, where `begin` is the begin of the next one. The name of
/// the program isn't among the words.
CompletionPlace PlaceBehind(const CLI::App& program, const std::vector<std::string>& words,
                            const std::string& begin);

}  // namespace vantry::cli
