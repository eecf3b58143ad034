#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "bridge/change.h"

namespace vantry::bridge {

/// Returns the batch as a text that can be kept in a file.
std::string ToRecord(const Batch& batch);

/// Returns the batch of a text of ToRecord, or nothing if it is none. `find` returns the subject of
/// a key, or null if the hub has no such property at present; a subject with the key alone then
/// takes its place.
std::optional<Batch> FromRecord(
    const std::string& record,
    const std::function<std::shared_ptr<const Subject>(const std::string& key)>& find);

}  // namespace vantry::bridge
