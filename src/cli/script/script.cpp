// The reader of the files of `vantry announce`.
//
// A line is split into words, and the first word decides how the rest is read. The reader keeps the
// last component and group, which the properties that follow belong to. GUIDs that a file leaves
// out are hashes of the names, so that a component has the same ones each time it is played; they
// have the form of a GUID and none of its version bits, which nothing in the hub looks at.

#include "cli/script/script.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <iomanip>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "client/records.h"
#include "wire/vocabulary/components.h"
#include "wire/vocabulary/groups.h"

namespace vantry::cli {
namespace {

using client::Error;
using client::ErrorCode;
using client::ValueType;

/// Returns a text in the form of a GUID that depends on `text` alone.
std::string GuidOf(const std::string& text) {
    std::uint64_t halves[2] = {0xcbf29ce484222325, 0x84222325cbf29ce4};
    for (std::uint64_t& half : halves) {
        for (const char byte : text) {
            half = (half ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
        }
    }
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", halves[0] >> 32,
                       halves[0] >> 16 & 0xFFFF, halves[0] & 0xFFFF, halves[1] >> 48,
                       halves[1] & 0xFFFFFFFFFFFF);
}

bool IsGuid(const std::string& text) {
    return text.size() == 36 && text.find_first_not_of("0123456789ABCDEF-") == std::string::npos;
}

/// Splits the line into words. Returns nothing if a quote isn't closed.
std::optional<std::deque<std::string>> WordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::deque<std::string> words;
    for (std::string word; stream >> std::ws && !stream.eof() && stream.peek() != '#';) {
        const bool isQuoted = stream.peek() == '"';
        stream >> std::quoted(word);
        if (isQuoted && stream.eof()) {
            return std::nullopt;
        }
        words.push_back(word);
    }
    return words;
}

std::optional<ValueType> TypeNamed(const std::string& word) {
    constexpr std::pair<const char*, ValueType> kTypes[] = {{"text", ValueType::Text},
                                                            {"number", ValueType::Number},
                                                            {"bool", ValueType::Bool},
                                                            {"truth", ValueType::Bool},
                                                            {"command", ValueType::Command}};
    for (const auto& [name, type] : kTypes) {
        if (word == name) {
            return type;
        }
    }
    return std::nullopt;
}

template <typename Known>
NamedGuid KnownOr(const Known& known, const std::string& name) {
    for (const NamedGuid& entry : known) {
        if (entry.name == name) {
            return entry;
        }
    }
    return {name, ""};
}

class Reader {
public:
    /// Reads a line. Returns what is wrong with it, or an empty text.
    std::string Read(const std::string& line) {
        auto split = WordsOf(line);
        if (!split) {
            return "a quote isn't closed";
        }
        words = std::move(*split);
        if (words.empty()) {
            return "";
        }
        const std::string kind = Word();
        if (words.empty()) {
            return "'" + kind + "' needs a name";
        }
        const std::string name = Word();
        if (kind == "component") {
            component = {name, Guid(std::string(KnownOr(Components::kAll, name).guid), name)};
            return Rest();
        }
        if (kind == "group") {
            group = {name, Guid(std::string(KnownOr(Groups::kAll, name).guid), name)};
            return Rest();
        }
        if (kind != "property") {
            return "'" + kind + "' is none of component, group, property";
        }
        return component.first.empty() || group.first.empty()
                   ? "a property needs a component and a group in front of it"
                   : ReadProperty(name);
    }

    std::vector<ScriptedProperty> properties;

private:
    using Named = std::pair<std::string, std::string>;

    std::string Word() {
        if (words.empty()) {
            return "";
        }
        std::string word = std::move(words.front());
        words.pop_front();
        return word;
    }

    std::string Guid(const std::string& known, const std::string& text) {
        if (!words.empty() && IsGuid(words.front())) {
            return Word();
        }
        return known.empty() ? GuidOf(text) : known;
    }

    std::string Rest() const {
        return words.empty() ? "" : "'" + words.front() + "' was not expected here";
    }

    std::string ReadProperty(const std::string& name) {
        ScriptedProperty property;
        client::Announcement& made = property.announcement;
        made.name = name;
        made.componentName = component.first;
        made.groupName = group.first;
        made.id = {component.second, group.second,
                   Guid("", component.second + group.second + name)};
        const std::string typeWord = Word();
        const std::optional<ValueType> type = TypeNamed(typeWord);
        if (!type || words.empty()) {
            return type ? "a property needs a value"
                        : "'" + typeWord + "' is none of text, number, bool, command";
        }
        made.type = *type;
        made.value = Word();
        if (!client::IsValue(made.type, made.value)) {
            return "'" + made.value + "' is no " + typeWord;
        }
        const bool isNew = ids.insert(made.id).second;
        const std::string problem = ReadBehaviour(property);
        properties.push_back(std::move(property));
        return isNew ? problem : "the group has a property '" + name + "' already";
    }

    std::string ReadBehaviour(ScriptedProperty& property) {
        const bool isCommand = property.announcement.type == ValueType::Command;
        property.announcement.onWrite = [isCommand](const std::string& written) {
            return std::optional<std::string>(isCommand ? "True" : written);
        };
        while (!words.empty()) {
            const std::string word = Word();
            if (word == "readonly") {
                property.announcement.onWrite = nullptr;
            } else if (word == "fails") {
                property.announcement.onWrite = [](const std::string&) {
                    return std::optional<std::string>("False");
                };
            } else if (word == "ramp") {
                Ramp ramp{};
                if (!Number(ramp.from) || !Number(ramp.to) || !Number(ramp.seconds) ||
                    ramp.seconds <= 0) {
                    return "a ramp needs FROM TO SECONDS";
                }
                if (property.announcement.type != ValueType::Number) {
                    return "only a number has a ramp";
                }
                property.ramp = ramp;
            } else {
                return "'" + word + "' is none of readonly, ramp, fails";
            }
        }
        return "";
    }

    bool Number(double& number) {
        const std::string word = Word();
        char* end = nullptr;
        number = std::strtod(word.c_str(), &end);
        return !word.empty() && *end == '\0' && std::isfinite(number);
    }

    std::set<client::PropertyId> ids;
    Named component;
    Named group;
    std::deque<std::string> words;
};

}  // namespace

double Ramp::At(double elapsed) const {
    const double part = std::fmod(elapsed, 2 * seconds) / seconds;
    return from + (to - from) * (part <= 1 ? part : 2 - part);
}

client::Result<std::vector<ScriptedProperty>> ReadScript(std::istream& file) {
    Reader reader;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (const std::string problem = reader.Read(line); !problem.empty()) {
            return Error{ErrorCode::Refused, fmt::format("line {}: {}", number, problem)};
        }
    }
    if (reader.properties.empty()) {
        return Error{ErrorCode::Refused, "there is no property in it"};
    }
    return std::move(reader.properties);
}

}  // namespace vantry::cli
