#include "wire/key/property_key.h"

namespace vantry {

std::string FullKey(std::string_view component, std::string_view groupGuid, std::string_view guid) {
    std::string key;
    key.reserve(component.size() + groupGuid.size() + guid.size() + 2);
    return key.append(component).append(":").append(groupGuid).append(":").append(guid);
}

std::string CompositeGuid(std::string_view groupGuid, std::string_view guid) {
    std::string composite;
    composite.reserve(groupGuid.size() + guid.size() + 1);
    return composite.append(groupGuid).append(":").append(guid);
}

std::string GroupKey(std::string_view groupGuid) { return CompositeGuid(groupGuid, {}); }

bool IsGroupKey(std::string_view key) { return key.find(':') + 1 == key.size(); }

SplitGuid SplitCompositeGuid(std::string_view composite) {
    const std::size_t colon = composite.find(':');
    if (colon == std::string_view::npos) {
        return {composite, composite};
    }
    return {composite.substr(0, colon), composite.substr(colon + 1)};
}

}  // namespace vantry
