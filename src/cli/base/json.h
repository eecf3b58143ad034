#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "client/property.h"

namespace vantry::cli {

/// A JSON document whose members keep their order. docs/JSON.md has what each command prints.
using Json = nlohmann::ordered_json;

/// Returns the document on one line. Bytes that aren't UTF-8 become U+FFFD.
std::string OneLine(const Json& document);
/// Returns an array of objects with each of them on a line of its own.
std::string LineByLine(const Json& array);
/// Returns a property as an object.
Json JsonOf(const client::Property& property);

}  // namespace vantry::cli
