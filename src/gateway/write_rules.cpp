#include "gateway/write_rules.h"

#include <algorithm>

#include "describe/glob.h"

namespace vantry::gateway {

bool WriteRules::Allow(const client::Property& property) const {
    return std::any_of(globs.begin(), globs.end(), [&](const std::string& glob) {
        return describe::GlobNames(glob, property, describe::LetterCase::Exact);
    });
}

}  // namespace vantry::gateway
