// One change as one line: for people, as JSON, or by a format of the user's own. The words of a
// format are checked before the first change arrives, so that a misspelt one is reported at once.

#include "cli/values/change_lines.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <utility>

#include "cli/base/json.h"
#include "cli/base/text.h"
#include "cli/base/times.h"

namespace vantry::cli {
namespace {

using client::Origin;
using client::Property;

constexpr std::array<const char*, 7> kWords = {"time",      "name",  "value", "unit",
                                               "component", "group", "origin"};

const char* OriginText(Origin origin) {
    return origin == Origin::Present ? "present" : origin == Origin::Change ? "change" : "reread";
}

std::string WordOf(const std::string& word, const Catalog& catalog, const Property& change,
                   const std::string& time) {
    if (word == "time") {
        return time;
    }
    if (word == "name") {
        return catalog.NameOf(change);
    }
    if (word == "value") {
        return change.available ? Printable(change.value) : "";
    }
    if (word == "unit") {
        return catalog.DescriptionOf(change).unit;
    }
    if (word == "origin") {
        return change.available ? OriginText(change.origin) : "withdrawn";
    }
    return Printable(word == "component" ? change.componentName : change.groupName);
}

/// Returns the text with its words replaced by what `replace` returns for them.
template <typename Replace>
std::string Filled(const std::string& text, const Replace& replace) {
    std::string filled;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::size_t end = text[at] == '{' ? text.find('}', at) : std::string::npos;
        if (end != std::string::npos) {
            filled += replace(text.substr(at + 1, end - at - 1));
            at = end;
        } else if (text[at] == '\\' && at + 1 < text.size()) {
            ++at;
            filled += text[at] == 'n' ? '\n' : text[at] == 't' ? '\t' : text[at];
        } else {
            filled += text[at];
        }
    }
    return filled;
}

std::string JsonLine(const Catalog& catalog, const Property& change, const std::string& time) {
    Json object = {{"time", time}, {"origin", OriginText(change.origin)}};
    object.update(JsonOf(change));
    object["shortName"] = catalog.NameOf(change);
    return OneLine(object) + "\n";
}

}  // namespace

client::Outcome ChangeFormat::Check() const {
    std::string wrong;
    Filled(text, [&](const std::string& word) {
        const bool isKnown = std::find(kWords.begin(), kWords.end(), word) != kWords.end();
        wrong = isKnown || !wrong.empty() ? wrong : word;
        return "";
    });
    if (wrong.empty()) {
        return client::Done{};
    }
    std::string known;
    for (const char* word : kWords) {
        known += std::string(" {") + word + "}";
    }
    return client::Error{client::ErrorCode::Refused,
                         "a format has no {" + wrong + "}; there are" + known};
}

std::string ChangeLine(const ChangeFormat& format, const Catalog& catalog, const Property& change,
                       std::chrono::system_clock::time_point when, const Style& style) {
    const std::string time = format.json || format.fullTime ? FullTime(when) : TimeOfDay(when);
    if (format.json) {
        return JsonLine(catalog, change, time);
    }
    if (!format.text.empty()) {
        return Filled(
                   format.text,
                   [&](const std::string& word) { return WordOf(word, catalog, change, time); }) +
               "\n";
    }
    const std::string begin = style.Faint(time) + "  " + catalog.NameOf(change);
    if (!change.available) {
        return begin + style.Bad(" was withdrawn") + "\n";
    }
    const std::string unit = catalog.DescriptionOf(change).unit;
    const std::string value = Printable(change.value);
    return begin +
           (change.origin == Origin::Present ? " is " + value : " = " + style.Changed(value)) +
           (unit.empty() ? "" : " " + style.Faint(unit)) +
           (change.origin == Origin::Reconciled ? style.Faint(" (read again)") : "") + "\n";
}

bool DuplicateFilter::IsNew(const Property& change) {
    std::string state = (change.available ? "+" : "-") + change.value;
    std::string& before = last[change.id];
    const bool isNew = before != state;
    before = std::move(state);
    return isNew;
}

}  // namespace vantry::cli
