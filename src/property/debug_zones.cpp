#include "property/debug_zones.h"

#include <cstddef>
#include <utility>

#include "property/property_factories.h"
#include "wire/vocabulary/groups.h"

namespace vantry {
namespace {

template <std::size_t... Places>
constexpr std::array<std::atomic<bool>, sizeof...(Places)> InitialFlags(
    std::index_sequence<Places...>) {
    return {kDebugZones[Places].initiallyOn...};
}

}  // namespace

constinit std::array<std::atomic<bool>, kDebugZones.size()> DebugZoneFlags::flags =
    InitialFlags(std::make_index_sequence<kDebugZones.size()>());

void RegisterDebugZones(
    const std::function<void(const std::shared_ptr<Property>&)>& registerProperty) {
    for (std::size_t zone = 0; zone < kDebugZones.size(); ++zone) {
        std::atomic<bool>& flag = DebugZoneFlags::flags[zone];
        const std::shared_ptr<BoolProperty> property =
            MakeBoolProperty(flag, IdentityOf(kDebugZones[zone].property, Groups::kDebugZone));
        property->AddChangedCallback([&flag](const std::shared_ptr<Property>& changed) {
            flag = static_cast<const BoolProperty&>(*changed).GetValue();
        });
        registerProperty(property);
        flag = property->GetValue();
    }
}

}  // namespace vantry
