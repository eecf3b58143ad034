// The command line of vantry.
//
// Each command is a subcommand of CLI11, whose callback runs it. CLI11 calls the callback while it
// parses, so the exit status is kept until the end. The library's own error texts are short; a hint
// with the next step is added for the mistakes that people make: a misspelt command, and a name
// with blanks that isn't quoted.
//
// A command writes through stdio. Standard output is flushed and checked here once more, so that a
// full disk ends every command with an error. A closed pipe ends the program by its signal.

#include "cli/base/command_line.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/base/argument_checks.h"
#include "cli/base/suggestions.h"
#include "cli/help/topics.h"

namespace vantry::cli {
namespace {

/// Returns the words without the program's name and --, in the reverse order, as CLI11 takes them.
std::vector<std::string> ReversedWords(int argc, char** argv) {
    std::vector<std::string> words;
    bool isPlain = false;
    for (int place = 1; place < argc; ++place) {
        const std::string word = argv[place];
        if (!isPlain && word == "--") {
            isPlain = true;
        } else {
            words.push_back(isPlain ? kPlainMark + word : word);
        }
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/// Returns what the help of a command ends with: its examples and where to read more.
std::string FooterOf(const CommandText& text) {
    std::string footer = *text.examples == '\0' ? "" : std::string("Examples:\n") + text.examples;
    std::istringstream topics(text.topics);
    for (std::string topic, before = "See "; topics >> topic; before = ", ") {
        footer.append(before).append("\"vantry help ").append(topic).append("\"");
    }
    return footer;
}

}  // namespace

CommandLine::CommandLine()
    : app(std::make_unique<CLI::App>(
          "Reads, sets and watches the properties of a label printer's hub.", "vantry")) {
    CLI::Option* const tcp = app->add_option("--tcp", context.tcp, "reach the hub over TCP (IPv4)")
                                 ->type_name("HOST[:PORT]");
    CLI::Option* const device = app->add_option("--device", context.device,
                                                "socket of the local device (default: "
                                                "$VANTRY_DEVICE, else " +
                                                    DefaultDevice() + ")")
                                    ->type_name("PATH")
                                    ->excludes(tcp);
    CLI::Option* const printer =
        app->add_option("--context", context.printer,
                        "a printer named by \"vantry context\" (default: $VANTRY_CONTEXT)")
            ->type_name("NAME")
            ->excludes(tcp)
            ->excludes(device);
    app->add_option("--on", context.several, "run the command on several of them, or on all")
        ->type_name("NAME,...|all")
        ->excludes(tcp)
        ->excludes(device)
        ->excludes(printer);
    app->add_option("--timeout", context.timeoutSeconds, "how long to wait for the hub")
        ->type_name("SECONDS")
        ->check(Between(0.001, 86400))
        ->capture_default_str();
    app->add_flag("--json", context.json, "print JSON");
    app->add_flag("--no-color", context.noColor, "no colours, whatever the terminal");
    app->set_version_flag("--version", "vantry " VANTRY_VERSION);
    app->fallthrough();
    app->require_subcommand(0, 1);
}

CommandLine::~CommandLine() = default;

void CommandLine::AddFamily(const CommandText& text) {
    app->add_subcommand(text.name, text.summary)->group(text.group)->require_subcommand(1);
}

CommandOptions CommandLine::Add(const CommandText& text, std::function<int(const Context&)> run) {
    const std::string name = text.name;
    const std::size_t blank = name.find(' ');
    CLI::App* const parent =
        blank == std::string::npos ? app.get() : app->get_subcommand(name.substr(0, blank));
    CLI::App* const command =
        parent->add_subcommand(name.substr(blank + 1), text.summary)->group(text.group);
    command->footer(FooterOf(text));
    if (text.unableStatus) {
        unableStatus[command] = *text.unableStatus;
    }
    const auto several = std::make_shared<CommandOptions::Several>();
    command->callback(
        [this, several, execute = std::move(run)] { status = Execute(execute, *several); });
    return CommandOptions(*command, several);
}

int CommandLine::Execute(const std::function<int(const Context&)>& run,
                         const CommandOptions::Several& several) const {
    if (context.several.empty()) {
        return run(context);
    }
    return several ? RunOnSeveral(context, several(), run)
                   : FailUsage("this command runs on one printer; --on can't be used with it");
}

void CommandLine::SetAlone(std::function<int(const Context&)> run) {
    app->callback([this, execute = std::move(run)] {
        if (app->get_subcommands().empty()) {
            status = execute(context);
        }
    });
}

CompletionPlace CommandLine::PlaceBehind(const std::vector<std::string>& words,
                                         const std::string& begin) const {
    return cli::PlaceBehind(*app, words, begin);
}

std::vector<std::string> CommandLine::CommandNames() const {
    std::vector<std::string> names;
    for (const CLI::App* command : app->get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::string CommandLine::ProgramHelp() const {
    // App::help would delegate to the subcommand that has been parsed.
    std::string text =
        app->get_formatter()->make_help(app.get(), "vantry", CLI::AppFormatMode::Normal);
    text += "\nTopics of vantry help:\n";
    for (const HelpTopic& topic : HelpTopics()) {
        const std::string content = topic.text;
        text += fmt::format("  {:<28}{}\n", topic.name, content.substr(2, content.find('\n') - 2));
    }
    return text;
}

client::Result<std::string> CommandLine::HelpFor(const std::string& subject) const {
    if (subject.empty()) {
        return ProgramHelp();
    }
    std::vector<std::string> names = CommandNames();
    if (std::find(names.begin(), names.end(), subject) != names.end()) {
        return app->get_subcommand(subject)->help(app->get_name());
    }
    for (const HelpTopic& topic : HelpTopics()) {
        if (subject == topic.name) {
            return std::string(topic.text);
        }
        names.emplace_back(topic.name);
    }
    return client::Error{client::ErrorCode::NotFound,
                         "there is no help for \"" + subject + "\"" +
                             ThenNext(DidYouMean(subject, names, 1), "\"vantry help\" lists all")};
}

std::string CommandLine::Hint(const CLI::ParseError& error) const {
    const std::vector<CLI::App*> chosen = app->get_subcommands();
    const std::vector<std::string> rest = app->remaining(true);
    const bool isOption = !rest.empty() && rest.front().starts_with('-');
    if (chosen.empty()) {
        const std::string nearest =
            rest.empty() || isOption ? "" : DidYouMean(rest.front(), CommandNames(), 1);
        return ThenNext(nearest, "\"vantry help\" lists the commands");
    }
    std::string hint;
    if (isOption) {
        hint = "; -- stands before a name or value that begins with -";
    } else if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        hint = "; names with blanks go in quotes";
    }
    return hint + "; \"vantry help " + chosen.front()->get_name() + "\" shows how it is used";
}

int CommandLine::WrongUsage(const CLI::ParseError& error) const {
    std::string text = error.what();
    const std::vector<std::string> rest = app->remaining();
    constexpr std::string_view kRequired = " is required";
    const bool lacksWord = text.ends_with(kRequired) && !text.starts_with("A ");
    if (app->get_subcommands().empty() && !rest.empty() && !rest.front().starts_with('-')) {
        text = "there is no command \"" + rest.front() + "\"";
    } else if (lacksWord && !app->get_subcommands().empty()) {
        text = "\"" + app->get_subcommands().front()->get_name() + "\" needs a " +
               text.substr(0, text.size() - kRequired.size());
    }
    std::erase(text, kPlainMark);
    while (!text.empty() && (text.back() == '\n' || text.back() == '.')) {
        text.pop_back();
    }
    fmt::print(stderr, "vantry: {}{}\n", text, Hint(error));
    return OwnStatusOr(Exit::kUsage);
}

int CommandLine::OwnStatusOr(int usual) const {
    const std::vector<CLI::App*> chosen = app->get_subcommands();
    const auto found = chosen.empty() ? unableStatus.end() : unableStatus.find(chosen.front());
    return found == unableStatus.end() ? usual : found->second;
}

int CommandLine::NotWritten(int number) const {
    std::fprintf(stderr, "vantry: can't write the output: %s\n", std::strerror(number));
    return OwnStatusOr(Exit::kRefused);
}

int CommandLine::Parsed(int argc, char** argv) {
    try {
        app->parse(ReversedWords(argc, argv));
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app->exit(error) : WrongUsage(error);
    }
    return status;
}

int CommandLine::Run(int argc, char** argv) {
    try {
        const int result = Parsed(argc, argv);
        errno = 0;
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            return NotWritten(errno == 0 ? ENOSPC : errno);
        }
        return result;
    } catch (const std::system_error& error) {
        // fmt reports a failed write in this way.
        if (std::ferror(stdout) != 0) {
            return NotWritten(error.code().value());
        }
        return Fail({client::ErrorCode::Refused, error.what()});
    }
}

}  // namespace vantry::cli
