#include "wire/property_records.h"

#include <utility>

namespace vantry {

PropertyResponse MakeFailureResponse(PropertyRequest request, std::string_view status) {
    constexpr std::string_view kUnknownGroup = "Unknown Group";
    constexpr std::string_view kUnknownProperty = "Unknown Property";
    constexpr std::string_view kInvalidValue = "Invalid Value";
    return {.groupGuid = std::move(request.groupGuid),
            .groupString = std::string(kUnknownGroup),
            .guid = std::move(request.guid),
            .nameString = std::string(kUnknownProperty),
            .value = std::string(kInvalidValue),
            .status = std::string(status),
            .component = std::move(request.component),
            // There is no word of its own for a component.
            .componentString = std::string(kUnknownGroup)};
}

}  // namespace vantry
