#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/property.h"

namespace vantry::bridge {

/// What matters most about a printer, for those who look at many: which problems its components
/// report, and the version of its firmware. Used by one thread.
class Summary {
public:
    /// Enters the state of a property. Returns whether the summary has changed.
    bool Enter(const client::Property& property);
    /// Returns the properties that report a problem as "Component/Group/Name", 20 at most, in the
    /// order of their identities.
    std::vector<std::string> Errors() const;
    /// Returns the version of the firmware, or an empty text if the hub has none.
    const std::string& Firmware() const { return firmware; }

private:
    std::map<client::PropertyId, std::string> errors;
    std::string firmware;
};

}  // namespace vantry::bridge
