// `vantry shell`: reads commands and runs them.
//
// Each command is a process of its own, as in any shell: Ctrl-C ends it and not the shell, and a
// command that crashes or hangs takes nothing along. It connects to the hub again, which takes a
// millisecond or two; the properties for the completion are read when they are needed.

#include "cli/shell/shell.h"

#include <fmt/core.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>
#include <optional>

#include "cli/base/terminal.h"
#include "cli/shell/candidates.h"
#include "cli/shell/line_editor.h"
#include "cli/shell/typed_line.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

using Clock = std::chrono::steady_clock;

/// Returns the options of the shell, which are passed on to its commands.
std::vector<std::string> InheritedOptions(const Context& context) {
    std::vector<std::string> options;
    const auto add = [&](const char* name, const std::string& value) {
        if (!value.empty()) {
            options.insert(options.end(), {name, value});
        }
    };
    add("--tcp", context.tcp);
    add("--device", context.device);
    add("--context", context.printer);
    return options;
}

bool ChoosesHub(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return word.starts_with("--tcp") || word.starts_with("--device") ||
               word.starts_with("--context") || word.starts_with("--on");
    });
}

/// Runs this program with the arguments. Blocks until it has ended, and returns its exit status.
int RunCommand(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers = {const_cast<char*>("vantry")};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGQUIT);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &interrupts);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    // The keys that end the command reach the shell as well.
    const auto oldInterrupt = signal(SIGINT, SIG_IGN);
    const auto oldQuit = signal(SIGQUIT, SIG_IGN);
    pid_t child = 0;
    const int problem =
        posix_spawn(&child, "/proc/self/exe", nullptr, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    int status = 0;
    while (problem == 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    signal(SIGINT, oldInterrupt);
    signal(SIGQUIT, oldQuit);
    if (problem != 0) {
        return Fail({client::ErrorCode::Refused,
                     std::string("can't run the command: ") + std::strerror(problem)});
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// The properties of the hub, which are read again when they are older than two seconds.
class RecentCatalog {
public:
    explicit RecentCatalog(const Context& itsContext) : context(itsContext) {
        context.timeoutSeconds = 2;
    }

    /// Returns the properties, or null if the hub can't be reached. Blocks up to two seconds for
    /// each of connecting and reading.
    const Catalog* Get() {
        constexpr std::chrono::seconds kOld(2);
        if (!readAt || Clock::now() - *readAt > kOld) {
            catalog.reset();
            if (auto read = Catalog::Read(context)) {
                catalog.emplace(std::move(*read));
            }
            readAt = Clock::now();
        }
        return catalog ? &*catalog : nullptr;
    }
    /// Forgets what was read, because a command may have changed it.
    void Forget() { readAt.reset(); }

private:
    Context context;
    std::optional<Catalog> catalog;
    std::optional<Clock::time_point> readAt;
};

class Shell {
public:
    Shell(const CommandLine& commands, const Context& itsContext)
        : line(commands), context(itsContext), recent(itsContext) {}

    int Run() {
        return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 ? RunAtTerminal()
                                                                       : RunScript();
    }

private:
    int RunScript() {
        int status = Exit::kDone;
        for (std::string text; !isOver && std::getline(std::cin, text);) {
            status = RunLine(text).value_or(status);
        }
        return status;
    }

    int RunAtTerminal() {
        LineEditor editor(
            (DefaultHistory().parent_path().parent_path() / "vantry-shell/history").string(),
            [this](const std::string& typed) { return Complete(typed); },
            [this](const std::string& typed) { return Hint(typed); });
        int status = Exit::kDone;
        while (!isOver) {
            recent.Forget();
            const auto typed = editor.Read(Prompt());
            if (!typed) {
                fmt::print("\n");
                break;
            }
            if (typed->find_first_not_of(" \t") != std::string::npos) {
                editor.Remember(*typed);
            }
            status = RunLine(*typed).value_or(status);
        }
        return status;
    }

    /// Returns the exit status, or nothing if the line has no command.
    std::optional<int> RunLine(const std::string& text) {
        const TypedLine typed = TypedLine::Parse(text);
        std::vector<std::string> words = typed.AllWords();
        if (words.empty() || words.front().starts_with("#")) {
            return std::nullopt;
        }
        if (words.front() == "exit" || words.front() == "quit") {
            isOver = true;
            return std::nullopt;
        }
        if (typed.openQuote != 0) {
            return FailUsage("a quote isn't closed");
        }
        if (words.front() == "shell") {
            return FailUsage("this is the shell; exit ends it");
        }
        if (words.front() == "vantry") {
            words.erase(words.begin());
        }
        std::vector<std::string> arguments =
            ChoosesHub(words) ? std::vector<std::string>() : InheritedOptions(context);
        if (context.noColor) {
            arguments.emplace_back("--no-color");
        }
        arguments.insert(arguments.end(), words.begin(), words.end());
        return RunCommand(arguments);
    }

    std::string Prompt() {
        const auto endpoint = context.HubEndpoint();
        const std::string name = endpoint ? endpoint->Name() : "vantry";
        const bool isThere = recent.Get() != nullptr;
        const std::string text = isThere ? name : name + " (not connected)";
        if (!context.Fancy()) {
            return text + "> ";
        }
        return std::string(isThere ? "\1\x1b[32m\1" : "\1\x1b[31m\1") + text + "\1\x1b[0m\1> ";
    }

    CompletionPlace PlaceIn(const TypedLine& typed) const {
        std::vector<std::string> words = typed.words;
        if (!words.empty() && words.front() == "vantry") {
            words.erase(words.begin());
        }
        return line.PlaceBehind(words, typed.last);
    }

    LineEditor::Completion Complete(const std::string& text) {
        const TypedLine typed = TypedLine::Parse(text);
        const CompletionPlace place = PlaceIn(typed);
        const auto source = [this] { return recent.Get(); };
        LineEditor::Completion completion;
        for (const std::string& candidate : CandidatesAt(place, typed.last, source)) {
            completion.words.push_back(QuotedWord(candidate));
        }
        completion.replaced = typed.lastAsWritten.size();
        completion.hint = HintAt(place, typed.last, source);
        return completion;
    }

    std::string Hint(const std::string& text) {
        const TypedLine typed = TypedLine::Parse(text);
        if (typed.words.empty()) {
            return text.empty() ? "Tab completes, help explains, exit ends" : "";
        }
        return HintAt(PlaceIn(typed), typed.last, [this] { return recent.Get(); });
    }

    const CommandLine& line;
    const Context& context;
    RecentCatalog recent;
    bool isOver = false;
};

}  // namespace

int RunShell(const CommandLine& line, const Context& context) { return Shell(line, context).Run(); }

void AddShell(CommandLine& line) {
    line.Add({.name = "shell",
              .summary = "a prompt that completes names and values",
              .group = CommandGroup::kHelp,
              .examples = "  vantry shell\n"
                          "  printf 'get \"Print Speed\"\\nstatus\\n' | vantry shell\n"},
             [&line](const Context& context) { return RunShell(line, context); });
}

}  // namespace vantry::cli
