#pragma once

#include <string>
#include <utility>
#include <vector>

#include "client/property.h"

namespace vantry::gateway {

/// The globs of --allow-write. An object doesn't change, so any thread may use it.
class WriteRules {
public:
    WriteRules() = default;
    explicit WriteRules(std::vector<std::string> given) : globs(std::move(given)) {}

    /// Returns whether there is a glob at all; without one nothing can be written.
    bool AllowAny() const { return !globs.empty(); }
    /// Returns whether one of the globs matches COMPONENT/GROUP/NAME of the property.
    bool Allow(const client::Property& property) const;

private:
    std::vector<std::string> globs;
};

}  // namespace vantry::gateway
