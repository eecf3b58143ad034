#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/base/completion_place.h"
#include "cli/base/context.h"
#include "cli/base/several.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace vantry::cli {

/// What the help says about a command.
struct CommandText {
    const char* name;
    /// One line, which begins with a small letter and has no full stop.
    const char* summary;
    /// The heading under which the help lists the command, see CommandGroup.
    const char* group;
    /// Lines that `vantry help COMMAND` prints as they are, each an example and what it does.
    const char* examples = "";
    /// The topics of `vantry help` that belong to it, with blanks between them.
    const char* topics = "";
    /// The exit status of wrong options.
    int usageStatus = Exit::kUsage;
};

/// The headings of the help.
struct CommandGroup {
    static constexpr const char* kReading = "Read";
    static constexpr const char* kWriting = "Write";
    static constexpr const char* kFindingOut = "Find out what is wrong";
    static constexpr const char* kByHand = "By hand";
    static constexpr const char* kPrinters = "Printers";
    static constexpr const char* kHelp = "Help";
};

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

/// The command line of vantry: the options that all commands share, and the commands.
///
/// A command is one file. It defines a function AddNAME(CommandLine&), which calls Add and then
/// adds its own options, and it has a line in cli/commands.def. Its options are kept in an object
/// that `run` shares, because they are read into it later. Only the main thread uses this class.
class CommandLine {
public:
    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Adds a word that is followed by one of several commands, such as "history". The name of such
    /// a command is both words.
    void AddFamily(const CommandText& text);
    /// Adds a command. `run` prints the result to standard output and errors to standard error, and
    /// returns the exit status, see Exit.
    CommandOptions Add(const CommandText& text, std::function<int(const Context&)> run);
    /// Sets what happens without a command; see Add.
    void SetAlone(std::function<int(const Context&)> run);
    /// Returns the place behind these words, see vantry::cli::PlaceBehind.
    CompletionPlace PlaceBehind(const std::vector<std::string>& words,
                                const std::string& begin) const;
    /// Returns the help of the program or, unless `subject` is empty, that of a command with its
    /// examples, or a topic. Returns an error if there is neither.
    client::Result<std::string> HelpFor(const std::string& subject) const;
    /// Parses the arguments, runs the command, and returns the exit status of the program. Output
    /// that couldn't be written is an error.
    int Run(int argc, char** argv);

private:
    std::vector<std::string> CommandNames() const;
    int Execute(const std::function<int(const Context&)>& run,
                const CommandOptions::Several& several) const;
    std::string ProgramHelp() const;
    int Parsed(int argc, char** argv);
    int WrongUsage(const CLI::ParseError& error) const;
    std::string Hint(const CLI::ParseError& error) const;

    const std::unique_ptr<CLI::App> app;
    Context context;
    int status = Exit::kDone;
    /// The commands with an exit status of their own for wrong options.
    std::map<const CLI::App*, int> usageStatus;
};

}  // namespace vantry::cli
