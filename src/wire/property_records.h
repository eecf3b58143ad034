#pragma once

#include <string>
#include <string_view>

#include "wire/key/property_key.h"

namespace vantry {

/// The values of the status field of a record.
struct Status {
    static constexpr std::string_view kSuccessful = "Successful";
    static constexpr std::string_view kNotFound = "Property Not Found";
    /// The property was withdrawn.
    static constexpr std::string_view kNoLongerAvailable = "Property No Longer Available";
};

/// One entry of a read or a subscription. An empty `guid` means every property of the group.
struct PropertyRequest {
    std::string component;
    std::string groupGuid;
    std::string guid;

    bool operator==(const PropertyRequest&) const = default;
};

/// One entry of a write.
struct PropertySetRequest {
    std::string guid;
    std::string groupGuid;
    std::string component;
    std::string value;
};

/// One record: the state of a property, in an answer, a publication or a report.
struct PropertyResponse {
    std::string groupGuid;
    std::string groupString;
    std::string guid;
    std::string nameString;
    std::string value;
    std::string status;
    std::string component;
    std::string componentString;
};

}  // namespace vantry
