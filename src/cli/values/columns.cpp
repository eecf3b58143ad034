// The columns that tables of properties may have, each with a name and a function for its text.
// Sorting reads these texts too, so that a new column can be sorted by without further code; it
// compares as numbers what are numbers, and puts them before what isn't.

#include "cli/values/columns.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <utility>

#include "cli/base/suggestions.h"
#include "cli/select/value_order.h"

namespace vantry::cli {
namespace {

using client::Property;

std::string TypeText(const Catalog& catalog, const Property& property) {
    const auto type = catalog.DescriptionOf(property).type;
    return type ? describe::NameOf(*type) : "";
}

constexpr std::array<PropertyColumn, 9> kColumns = {{
    {"name", [](const Catalog& catalog, const Property& p) { return catalog.NameOf(p); }},
    {"value", [](const Catalog&, const Property& p) { return p.value; }},
    {"unit",
     [](const Catalog& catalog, const Property& p) { return catalog.DescriptionOf(p).unit; }},
    {"type", TypeText},
    {"component", [](const Catalog&, const Property& p) { return p.componentName; }},
    {"group", [](const Catalog&, const Property& p) { return p.groupName; }},
    {"owner",
     [](const Catalog& catalog, const Property& p) {
         return std::string(client::NameOf(catalog.OwnerOf(p).presence));
     }},
    {"age", [](const Catalog& catalog, const Property& p) { return catalog.AgeOf(p); }},
    {"guid",
     [](const Catalog&, const Property& p) {
         return p.id.component + ":" + p.id.group + ":" + p.id.property;
     }},
}};

}  // namespace

client::Result<std::vector<const PropertyColumn*>> ParseColumns(const std::string& names) {
    std::vector<const PropertyColumn*> columns;
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ',');) {
        const auto found = std::find_if(kColumns.begin(), kColumns.end(), [&](const auto& column) {
            return Lower(name) == column.name;
        });
        if (found == kColumns.end()) {
            std::string text = "there is no column \"" + name + "\"; there are";
            for (const PropertyColumn& column : kColumns) {
                text += std::string(&column == kColumns.data() ? " " : ", ") + column.name;
            }
            return client::Error{client::ErrorCode::Refused, text};
        }
        columns.push_back(&*found);
    }
    return columns;
}

void SortBy(const Catalog& catalog, const std::vector<const PropertyColumn*>& columns,
            std::vector<Property>& properties) {
    for (auto column = columns.rbegin(); column != columns.rend(); ++column) {
        std::map<client::PropertyId, std::string> texts;
        for (const Property& property : properties) {
            texts[property.id] = (*column)->text(catalog, property);
        }
        std::stable_sort(properties.begin(), properties.end(),
                         [&](const Property& one, const Property& other) {
                             return IsLessValue(texts[one.id], texts[other.id]);
                         });
    }
}

Json JsonWithKnowledge(const Catalog& catalog, const Property& property) {
    const describe::Description description = catalog.DescriptionOf(property);
    const auto age = catalog.Owners().AgeOf(property.id);
    Json object = JsonOf(property);
    object["shortName"] = catalog.NameOf(property);
    object["type"] = description.type ? Json(describe::NameOf(*description.type)) : Json();
    object["unit"] = description.unit.empty() ? Json() : Json(description.unit);
    object["owner"] = client::NameOf(catalog.OwnerOf(property).presence);
    // An age that is only a lower bound isn't one.
    object["ageSeconds"] =
        age && !age->isAtLeast ? Json(static_cast<double>(age->milliseconds) / 1000) : Json();
    return object;
}

}  // namespace vantry::cli
