#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "property/bool_property.h"
#include "property/string_property.h"
#include "property/trigger_property.h"
#include "property/uint32_property.h"
#include "wire/vocabulary/named_guid.h"

namespace vantry {

// The factories of properties. Each returns a new property in a shared owner, from which its
// callbacks get their reference; a property that is created in another way can't call them. The
// identity may be given as {guid, name, groupGuid, group}. Any thread may call them.

/// Returns the identity of a property of the vocabulary in one of its groups.
inline PropertyIdentity IdentityOf(const NamedGuid& property, const NamedGuid& group) {
    return {std::string(property.guid), std::string(property.name), std::string(group.guid),
            std::string(group.name)};
}

/// Creates a property of the class from the arguments of its constructor. The functions below
/// name the classes.
template <typename Made, typename... Arguments>
std::shared_ptr<Made> MakeProperty(Arguments&&... arguments) {
    auto property = std::make_shared<Made>(std::forward<Arguments>(arguments)...);
    property->SetSelf(property);
    return property;
}

inline std::shared_ptr<UInt32Property> MakeUInt32Property(std::uint32_t initial,
                                                          PropertyIdentity identity) {
    return MakeProperty<UInt32Property>(initial, std::move(identity));
}

inline std::shared_ptr<StringProperty> MakeStringProperty(std::string initial,
                                                          PropertyIdentity identity) {
    return MakeProperty<StringProperty>(std::move(initial), std::move(identity));
}

/// Does the same as MakeStringProperty, for texts that are compiled in.
inline std::shared_ptr<StringProperty> MakeStringPropertyFromLiteral(const char* initial,
                                                                     PropertyIdentity identity) {
    return MakeStringProperty(initial, std::move(identity));
}

inline std::shared_ptr<BoolProperty> MakeBoolProperty(bool initial, PropertyIdentity identity) {
    return MakeProperty<BoolProperty>(initial, std::move(identity));
}

inline std::shared_ptr<TriggerProperty> MakeTriggerProperty(bool initial,
                                                            PropertyIdentity identity) {
    return MakeProperty<TriggerProperty>(initial, std::move(identity));
}

}  // namespace vantry
