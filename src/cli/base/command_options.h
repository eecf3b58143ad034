#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/several.h"

namespace CLI {
class App;
}

namespace vantry::cli {

/// The options of one command. The files of commands use it instead of the library that parses the
/// arguments, whose headers take seconds to compile.
///
/// A name such as "--count" is that of an option, any other that of a positional argument. What is
/// parsed is stored in `into`, which must live until the command has run; without the option it
/// keeps its value, which the help shows for numbers unless it is 0.
class CommandOptions {
public:
    enum class Need { kOptional, kRequired };

    /// A function that says what is shown of the command on several printers, once its options are
    /// known. It is empty for a command that runs on one printer only.
    using Several = std::function<SeveralOutput()>;

    CommandOptions(CLI::App& itsCommand, std::shared_ptr<Several> onSeveral)
        : command(itsCommand), several(std::move(onSeveral)) {}

    CommandOptions& Text(const char* name, std::string& into, const char* help,
                         Need need = Need::kOptional);
    /// Takes all arguments that are left.
    CommandOptions& Texts(const char* name, std::vector<std::string>& into, const char* help,
                          Need need = Need::kOptional);
    /// Takes one argument each time that the option stands in the command line.
    CommandOptions& Each(const char* name, std::vector<std::string>& into, const char* help);
    /// Accepts these words only.
    CommandOptions& OneOf(const char* name, std::string& into,
                          const std::vector<std::string>& words, const char* help,
                          Need need = Need::kOptional);
    CommandOptions& Flag(const char* name, bool& into, const char* help);
    /// Accepts the numbers from `least` to `most`.
    CommandOptions& Number(const char* name, double& into, double least, double most,
                           const char* help);
    CommandOptions& Count(const char* name, int& into, int least, int most, const char* help);
    /// Lets the command run on several printers, for --on.
    CommandOptions& OnSeveral(Several output) {
        *several = std::move(output);
        return *this;
    }

private:
    CLI::App& command;
    const std::shared_ptr<Several> several;
};

}  // namespace vantry::cli
