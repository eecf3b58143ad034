#include "engine/record_builder.h"

#include "wire/json/json_escapes.h"

namespace vantry {
namespace {

PropertyResponse MakeRecord(const Property& property, const std::string& component,
                            const std::string& componentName, std::string_view status) {
    std::string text;
    property.GetPublishedText(text);
    return {.groupGuid = property.GroupGuid(),
            .groupString = property.Group(),
            .guid = property.Guid(),
            .nameString = property.Name(),
            .value = EscapeJsonText(text),
            .status = std::string(status),
            .component = component,
            .componentString = componentName};
}

}  // namespace

PropertyResponse MakeLocalRecord(const Property& property, const Property& owner,
                                 std::string_view status) {
    return MakeRecord(property, owner.Guid(), owner.Name(), status);
}

PropertyResponse MakeRemoteRecord(const RemoteProperty& property, std::string_view status) {
    return MakeRecord(property, property.component, property.componentName, status);
}

}  // namespace vantry
