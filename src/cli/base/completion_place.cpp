// What may stand at a place of a command line.
//
// The commands and their options are those that the parser knows, so that a new command is
// completed without being named here. What an argument is follows from its name in the help:
// "property" stands for the name of a property, "file" for one of a file.

#include "cli/base/completion_place.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <sstream>

#include "cli/help/topics.h"

namespace vantry::cli {
namespace {

using Kind = CompletionPlace::Kind;

const CLI::Option* OptionOf(const CLI::App* command, const std::string& name) {
    for (; command != nullptr; command = command->get_parent()) {
        if (const CLI::Option* const option = command->get_option_no_throw(name)) {
            return option;
        }
    }
    return nullptr;
}

const CLI::App* SubcommandOf(const CLI::App& command, const std::string& name) {
    const auto found =
        command.get_subcommands([&](const CLI::App* each) { return each->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

std::vector<std::string> OptionNames(const CLI::App* command) {
    std::vector<std::string> names;
    for (; command != nullptr; command = command->get_parent()) {
        for (const CLI::Option* option : command->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::vector<std::string> CommandNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
        if (!each->get_group().empty()) {
            names.push_back(each->get_name());
        }
    }
    return names;
}

/// Returns the words of a list such as "nagios|json"; none if it isn't one.
std::vector<std::string> WordsOf(const std::string& list) {
    std::vector<std::string> words;
    std::istringstream text(list.find('|') == std::string::npos ? "" : list);
    for (std::string word; std::getline(text, word, '|');) {
        words.push_back(word);
    }
    return words;
}

/// Sets what an argument or the value of an option is.
void Describe(const CLI::Option& option, const CLI::App& program, const std::string& command,
              CompletionPlace& place) {
    static const std::set<std::string> kFiles = {"file",   "lines",  "into",     "before",
                                                 "after",  "--from", "--listen", "--device",
                                                 "--file", "--root", "--svg",    "--png"};
    static const std::set<std::string> kProperties = {"property", "--until", "--expect", "--warn"};
    const std::string name = option.get_name();
    if (name == "--context" || name == "--on" || name == "printer") {
        place.kind = Kind::Printer;
    } else if (name == "--group" || name == "--component") {
        place.kind = name == "--group" ? Kind::Group : Kind::Component;
    } else if (name == "property" && command == "set") {
        place.kind = Kind::Assignment;
    } else if (kProperties.contains(name) || (name == "name" && command == "list")) {
        place.kind = Kind::Property;
    } else if (kFiles.contains(name)) {
        place.kind = Kind::File;
    } else if (name == "topic") {
        place.words = CommandNames(program);
        for (const HelpTopic& topic : HelpTopics()) {
            place.words.emplace_back(topic.name);
        }
    } else {
        place.words = WordsOf(option.get_type_name());
    }
}

}  // namespace

CompletionPlace PlaceBehind(const CLI::App& program, const std::vector<std::string>& words,
                            const std::string& begin) {
    CompletionPlace place;
    const CLI::App* command = &program;
    const CLI::Option* open = nullptr;
    std::size_t positionals = 0;
    for (const std::string& word : words) {
        if (open != nullptr) {
            place.options[open->get_name()] = word;
            open = nullptr;
        } else if (word.starts_with("-")) {
            const std::size_t equals = word.find('=');
            const CLI::Option* const option = OptionOf(command, word.substr(0, equals));
            if (option != nullptr && option->get_items_expected_max() > 0) {
                open = equals == std::string::npos ? option : nullptr;
                place.options[option->get_name()] =
                    equals == std::string::npos ? "" : word.substr(equals + 1);
            }
        } else if (const CLI::App* const next = SubcommandOf(*command, word)) {
            command = next;
            place.before.push_back(word);
        } else {
            place.before.push_back(word);
            ++positionals;
        }
    }
    const std::string name = command->get_name();
    if (open != nullptr) {
        Describe(*open, program, name, place);
    } else if (begin.starts_with("-")) {
        place.words = OptionNames(command);
    } else if (const std::vector<std::string> names = CommandNames(*command); !names.empty()) {
        place.words = names;
    } else {
        std::vector<const CLI::Option*> arguments;
        for (const CLI::Option* option : command->get_options()) {
            if (option->get_positional()) {
                arguments.push_back(option);
            }
        }
        if (!arguments.empty()) {
            Describe(*arguments[std::min(positionals, arguments.size() - 1)], program, name, place);
        }
    }
    return place;
}

}  // namespace vantry::cli
