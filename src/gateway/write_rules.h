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

    bool AllowAny() const { return !globs.empty(); }
    bool Allow(const client::Property& property) const;

private:
    std::vector<std::string> globs;
};

}  // namespace vantry::gateway
