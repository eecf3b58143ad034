// `vantry help`: the help of the program, or of a command with its examples.

#include <fmt/core.h>

#include "cli/base/command_line.h"

namespace vantry::cli {

void AddHelp(CommandLine& line) {
    const auto topic = std::make_shared<std::string>();
    line.Add({.name = "help",
              .summary = "how a command is used, with examples",
              .group = CommandGroup::kHelp,
              .examples = "  vantry help watch\n"},
             [topic, &line](const Context&) {
                 const client::Result<std::string> text = line.HelpFor(*topic);
                 if (!text) {
                     return Fail(text.error());
                 }
                 fmt::print("{}", *text);
                 return Exit::kDone;
             })
        .Text("topic", *topic, "a command");
}

}  // namespace vantry::cli
