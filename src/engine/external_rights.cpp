#include "engine/external_rights.h"

#include "wire/vocabulary/groups.h"

namespace vantry {

ExternalRights::ExternalRights() {
    for (const NamedGuid& group : Groups::kExternal) {
        groups.insert(group.guid);
    }
}

bool ExternalRights::MaySee(std::string_view groupGuid) const {
    constexpr std::string_view kJobGroup = "Job ";
    return groups.contains(groupGuid) || groupGuid.find(kJobGroup) != std::string_view::npos;
}

}  // namespace vantry
