// `vantry help`: the help of the program, of a command with its examples, or a topic.

#include <fmt/core.h>

#include "cli/base/command_line.h"
#include "cli/base/json.h"

namespace vantry::cli {

void AddHelp(CommandLine& line) {
    const auto topic = std::make_shared<std::string>();
    line.Add({.name = "help",
              .summary = "how a command is used, or examples by topic",
              .group = CommandGroup::kHelp,
              .examples = "  vantry help watch\n"
                          "  vantry help conditions\n"},
             [topic, &line](const Context& context) {
                 const client::Result<std::string> text = line.HelpFor(*topic);
                 if (!text) {
                     return Fail(text.error());
                 }
                 if (context.json) {
                     fmt::print("{}\n",
                                OneLine({{"subject", topic->empty() ? Json() : Json(*topic)},
                                         {"text", *text}}));
                 } else {
                     fmt::print("{}", *text);
                 }
                 return Exit::kDone;
             })
        .Text("topic", *topic, "a command, or a topic such as names, json or exit");
}

}  // namespace vantry::cli
