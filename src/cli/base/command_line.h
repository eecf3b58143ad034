#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/command_options.h"
#include "cli/base/completion_place.h"
#include "cli/base/context.h"

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
    /// The exit status of wrong options and of output that can't be written, if the command has one
    /// of its own for what it couldn't do.
    std::optional<int> unableStatus = {};
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
    /// Returns the status of the chosen command for what it couldn't do, or else the usual one.
    int OwnStatusOr(int usual) const;
    /// Reports the error number of a failed write, and returns the exit status.
    int NotWritten(int number) const;

    const std::unique_ptr<CLI::App> app;
    Context context;
    int status = Exit::kDone;
    /// What the commands have as CommandText::unableStatus.
    std::map<const CLI::App*, int> unableStatus;
};

}  // namespace vantry::cli
