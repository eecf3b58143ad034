#pragma once

#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace vantry {

// What the programs without commands do with their command lines alike. The functions here are
// called by the main thread.

/// The exit status of a program whose arguments are wrong.
constexpr int kExitUsage = 2;

/// Parses the arguments, and calls `settle`, which checks what the options say together and calls
/// RefuseArguments if that is wrong.
///
/// Returns nothing if the program can go on. Otherwise returns its exit status: 0 after the help or
/// the version, which it prints to standard output, and kExitUsage after an error, which it prints
/// to standard error, followed by `usage`. An empty `usage` stands for a line that names --help.
[[nodiscard]] std::optional<int> ParseArguments(CLI::App& app, int argc, char** argv,
                                                const std::function<void()>& settle,
                                                std::string usage = {});

/// Ends ParseArguments with an error of this text. Called by `settle`.
[[noreturn]] void RefuseArguments(const std::string& text);

}  // namespace vantry
