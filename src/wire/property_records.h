#pragma once

#include <string>
#include <string_view>

#include "wire/key/property_key.h"

namespace vantry {

/// The three words by which a record says what it stands for.
struct Status {
    static constexpr std::string_view kSuccessful = "Successful";
    static constexpr std::string_view kNotFound = "Property Not Found";
    /// The last record that anybody gets of a property.
    static constexpr std::string_view kNoLongerAvailable = "Property No Longer Available";
};

/// One read or one subscription. An empty `guid` means every property of the group.
struct PropertyRequest {
    std::string component;
    std::string groupGuid;
    std::string guid;

    bool operator==(const PropertyRequest&) const = default;
};

/// One write.
struct PropertySetRequest {
    std::string guid;
    std::string groupGuid;
    std::string component;
    std::string value;
};

/// One property as it travels, in either direction.
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
