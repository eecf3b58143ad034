// The options of a command, as options of its subcommand of CLI11.

#include "cli/base/command_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/base/argument_checks.h"

namespace vantry::cli {
namespace {

template <typename Value>
void AddNumber(CLI::App& command, const char* name, Value& into, double least, double most,
               const char* help) {
    CLI::Option* const option =
        command.add_option(name, into, help)->check(Between(least, most))->type_name("NUMBER");
    if (into != 0) {
        option->capture_default_str();
    }
}

bool IsRequired(CommandOptions::Need need) { return need == CommandOptions::Need::kRequired; }

}  // namespace

CommandOptions& CommandOptions::Text(const char* name, std::string& into, const char* help,
                                     Need need) {
    command.add_option(name, into, help)->transform(WithoutMark())->required(IsRequired(need));
    return *this;
}

CommandOptions& CommandOptions::Texts(const char* name, std::vector<std::string>& into,
                                      const char* help, Need need) {
    command.add_option(name, into, help)->transform(WithoutMark())->required(IsRequired(need));
    return *this;
}

CommandOptions& CommandOptions::Each(const char* name, std::vector<std::string>& into,
                                     const char* help) {
    command.add_option(name, into, help)->allow_extra_args(false);
    return *this;
}

CommandOptions& CommandOptions::OneOf(const char* name, std::string& into,
                                      const std::vector<std::string>& words, const char* help,
                                      Need need) {
    std::string listed;
    for (const std::string& word : words) {
        listed += (listed.empty() ? "" : "|") + word;
    }
    const auto check = [words, listed](const std::string& text) {
        return std::find(words.begin(), words.end(), text) != words.end()
                   ? std::string()
                   : "'" + text + "' is none of " + listed;
    };
    command.add_option(name, into, help)
        ->check(CLI::Validator(check, ""))
        ->type_name(listed)
        ->required(IsRequired(need));
    return *this;
}

CommandOptions& CommandOptions::Flag(const char* name, bool& into, const char* help) {
    command.add_flag(name, into, help);
    return *this;
}

CommandOptions& CommandOptions::Number(const char* name, double& into, double least, double most,
                                       const char* help) {
    AddNumber(command, name, into, least, most, help);
    return *this;
}

CommandOptions& CommandOptions::Count(const char* name, int& into, int least, int most,
                                      const char* help) {
    AddNumber(command, name, into, least, most, help);
    return *this;
}

}  // namespace vantry::cli
