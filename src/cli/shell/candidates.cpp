// What may be typed at a place of a command line.
//
// CompletionPlace says of which kind the word at the place is. The properties of the hub are read
// only for the kinds that need them, because a hub that doesn't answer would delay every
// completion. Of the names of a property only one is offered: the shortest, or a longer one if that
// doesn't begin as typed. Names with control characters are left out, as no shell could insert
// them.

#include "cli/shell/candidates.h"

#include <strings.h>

#include <algorithm>
#include <optional>

#include "cli/base/named_printers.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

using client::Property;
using Kind = CompletionPlace::Kind;

bool BeginsWith(const std::string& text, const std::string& begin) {
    return strncasecmp(text.c_str(), begin.c_str(), begin.size()) == 0;
}

void Keep(std::vector<std::string>& candidates, const std::string& text, const std::string& begin) {
    if (BeginsWith(text, begin)) {
        candidates.push_back(text);
    }
}

/// Adds a name of each property that begins as typed, followed by `behind`.
void AddNames(const Catalog& catalog, const std::string& begin, const std::string& behind,
              std::vector<std::string>& candidates) {
    for (const Property& property : catalog.All()) {
        std::vector<std::string> names = NamesOf(property);
        names.front() = catalog.NameOf(property);
        const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
            return BeginsWith(name, begin) && Printable(name) == name;
        });
        if (found != names.end()) {
            candidates.push_back(*found + behind);
        }
    }
}

/// Returns the words that the property may have as its value; none if it takes numbers or any text.
std::vector<std::string> ValuesOf(const Catalog& catalog, const Property& property) {
    const describe::Description description = catalog.DescriptionOf(property);
    const bool isBool = description.type ? *description.type == client::ValueType::Bool ||
                                               *description.type == client::ValueType::Command
                                         : property.value == "True" || property.value == "False";
    return isBool ? std::vector<std::string>{"True", "False"} : description.words;
}

/// The argument of `vantry set` at a place: a value of `property`, or a name if there is none.
struct Assigning {
    std::optional<Property> property;
    /// What stands before the value in the same word: "NAME=", or nothing.
    std::string before;
};

/// Returns the property whose value stands at the place, if one does.
Assigning AssigningAt(const CompletionPlace& place, const std::string& begin,
                      const Catalog& catalog) {
    const std::size_t equals = begin.find('=');
    if (equals != std::string::npos) {
        if (const auto property = catalog.Find(begin.substr(0, equals))) {
            return {*property, begin.substr(0, equals + 1)};
        }
    } else if (place.before.size() == 2) {
        if (const auto property = catalog.Find(place.before[1])) {
            return {*property, ""};
        }
    }
    return {};
}

void AddPrinters(const std::string& begin, std::vector<std::string>& candidates) {
    const auto printers = NamedPrinters::Read();
    if (!printers) {
        return;
    }
    // --on takes several, of which the last one is completed.
    const std::size_t comma = begin.rfind(',');
    const std::string before = comma == std::string::npos ? "" : begin.substr(0, comma + 1);
    for (const NamedPrinter& printer : printers->All()) {
        Keep(candidates, before + printer.name, begin);
    }
}

}  // namespace

Context ContextOf(const CompletionPlace& place) {
    const auto valueOf = [&](const char* option) {
        const auto found = place.options.find(option);
        return found == place.options.end() ? std::string() : found->second;
    };
    Context context;
    context.tcp = valueOf("--tcp");
    context.device = valueOf("--device");
    context.printer = valueOf("--context");
    if (const std::string several = valueOf("--on"); several != "all" && context.printer.empty()) {
        context.printer = several.substr(0, several.find(','));
    }
    context.timeoutSeconds = 2;
    return context;
}

std::vector<std::string> CandidatesAt(const CompletionPlace& place, const std::string& begin,
                                      const CatalogSource& catalog) {
    std::vector<std::string> candidates;
    for (const std::string& word : place.words) {
        Keep(candidates, word, begin);
    }
    if (place.kind == Kind::Printer) {
        AddPrinters(begin, candidates);
    }
    const bool needsCatalog = place.kind == Kind::Property || place.kind == Kind::Group ||
                              place.kind == Kind::Component || place.kind == Kind::Assignment;
    const Catalog* const known = needsCatalog ? catalog() : nullptr;
    if (known != nullptr && place.kind == Kind::Property) {
        AddNames(*known, begin, "", candidates);
    } else if (known != nullptr && place.kind != Kind::Assignment) {
        for (const Property& property : known->All()) {
            const std::string& name =
                place.kind == Kind::Group ? property.groupName : property.componentName;
            Keep(candidates, Printable(name), begin);
        }
    } else if (known != nullptr) {
        const Assigning assigning = AssigningAt(place, begin, *known);
        if (assigning.property) {
            for (const std::string& value : ValuesOf(*known, *assigning.property)) {
                Keep(candidates, assigning.before + value, begin);
            }
        } else {
            AddNames(*known, begin, place.before.size() > 1 ? "=" : "", candidates);
        }
    }
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

std::string HintAt(const CompletionPlace& place, const std::string& begin,
                   const CatalogSource& catalog) {
    const Catalog* const known = place.kind == Kind::Assignment ? catalog() : nullptr;
    const Assigning assigning = known != nullptr ? AssigningAt(place, begin, *known) : Assigning();
    if (!assigning.property) {
        return "";
    }
    const describe::Description description = known->DescriptionOf(*assigning.property);
    std::string allowed = describe::AllowedValues(description);
    if (allowed.empty()) {
        for (const std::string& value : ValuesOf(*known, *assigning.property)) {
            allowed += (allowed.empty() ? "" : " or ") + value;
        }
    }
    return "is " + Printable(assigning.property->value) + (allowed.empty() ? "" : "; takes ") +
           allowed;
}

}  // namespace vantry::cli
