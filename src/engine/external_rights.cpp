#include "engine/external_rights.h"

#include <iterator>
#include <utility>

#include "wire/vocabulary/groups.h"

namespace vantry {

ExternalRights::ExternalRights() {
    for (const NamedGuid& group : Groups::kExternal) {
        groups.insert(group.guid);
    }
}

bool ExternalRights::Pass(const PropertyResponse& record) const {
    constexpr std::string_view kJobGroup = "Job ";
    return record.status != Status::kSuccessful || groups.contains(record.groupGuid) ||
           record.groupGuid.find(kJobGroup) != std::string::npos;
}

void ExternalRights::Filter(std::deque<PropertyResponse>& records, bool reportRefused) const {
    std::deque<PropertyResponse> passed;
    std::deque<PropertyResponse> refused;
    for (PropertyResponse& record : records) {
        if (Pass(record)) {
            passed.push_back(std::move(record));
        } else if (reportRefused) {
            refused.push_back(MakeFailureResponse(
                {std::move(record.component), std::move(record.groupGuid), std::move(record.guid)},
                Status::kNotFound));
        }
    }
    passed.insert(passed.end(), std::make_move_iterator(refused.begin()),
                  std::make_move_iterator(refused.end()));
    records = std::move(passed);
}

}  // namespace vantry
