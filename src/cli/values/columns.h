#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/base/json.h"
#include "cli/select/catalog.h"

namespace vantry::cli {

/// A column of a table of properties.
struct PropertyColumn {
    const char* name;
    std::string (*text)(const Catalog& catalog, const client::Property& property);
};

/// Returns the columns with these names, which commas separate. Returns Refused, with the names
/// that there are, for another name.
client::Result<std::vector<const PropertyColumn*>> ParseColumns(const std::string& names);

/// Sorts the properties by the texts of the columns, in numbers by size. Equal ones keep their
/// order.
void SortBy(const Catalog& catalog, const std::vector<const PropertyColumn*>& columns,
            std::vector<client::Property>& properties);

/// Returns a property as a JSON object, with its shortest name and what is known beside its state.
Json JsonWithKnowledge(const Catalog& catalog, const client::Property& property);

}  // namespace vantry::cli
