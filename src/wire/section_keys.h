#pragma once

#include <string_view>

namespace vantry {

/// The keys of the sections of a message. The presence of the key makes the section, whatever its
/// value.
struct Section {
    static constexpr std::string_view kGetRequests = "PropertyGetRequests";
    static constexpr std::string_view kSetRequests = "PropertySetRequests";
    static constexpr std::string_view kSubscribeRequests = "PropertySubscribeRequests";
    /// The records of answers, publications and reports.
    static constexpr std::string_view kGetResponses = "PropertyGetResponses";
    static constexpr std::string_view kGetAll = "GetAllProperties";
    static constexpr std::string_view kGetAllResponse = "GetAllPropertiesResponse";
    static constexpr std::string_view kSubscribeAll = "SubscribeAllCurrentAndNewProperties";
    static constexpr std::string_view kDisconnect = "Disconnect";
};

/// The keys of the fields of an entry. The value of each is a string.
struct Field {
    static constexpr std::string_view kComponent = "Component";
    static constexpr std::string_view kComponentString = "ComponentString";
    static constexpr std::string_view kGuid = "GUID";
    static constexpr std::string_view kGroupString = "GroupString";
    static constexpr std::string_view kNameString = "NameString";
    static constexpr std::string_view kStatus = "Status";
    static constexpr std::string_view kValue = "Value";
};

}  // namespace vantry
