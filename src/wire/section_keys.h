#pragma once

#include <string_view>

namespace vantry {

/// The sections of a message. One is recognised by the presence of its key alone.
struct Section {
    static constexpr std::string_view kGetRequests = "PropertyGetRequests";
    static constexpr std::string_view kSetRequests = "PropertySetRequests";
    static constexpr std::string_view kSubscribeRequests = "PropertySubscribeRequests";
    /// Every answer, every publication, and what a component reports.
    static constexpr std::string_view kGetResponses = "PropertyGetResponses";
    static constexpr std::string_view kGetAll = "GetAllProperties";
    static constexpr std::string_view kGetAllResponse = "GetAllPropertiesResponse";
    static constexpr std::string_view kSubscribeAll = "SubscribeAllCurrentAndNewProperties";
    static constexpr std::string_view kDisconnect = "Disconnect";
};

/// The fields of an entry; all of them are strings.
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
