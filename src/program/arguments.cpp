#include "program/arguments.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace vantry {

std::optional<int> ParseArguments(CLI::App& app, int argc, char** argv,
                                  const std::function<void()>& settle, std::string usage) {
    try {
        app.parse(argc, argv);
        settle();
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        const std::string name = app.get_name();
        if (usage.empty()) {
            usage = "Run " + name + " --help for the options.\n";
        }
        std::fprintf(stderr, "%s: %s\n%s", name.c_str(), error.what(), usage.c_str());
        return kExitUsage;
    }
    return std::nullopt;
}

void RefuseArguments(const std::string& text) { throw CLI::ValidationError(text); }

}  // namespace vantry
