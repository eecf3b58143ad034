// The rows are kept in a map by group and name, and are filtered and sorted anew for each screen:
// the stable sort keeps that order among rows that are equal in the chosen one. Samples for the
// plots are kept where a number changes, within the time that a plot shows, with one before it as
// its first value.

#include "cli/show/live_rows.h"

#include <algorithm>
#include <optional>

#include "cli/base/suggestions.h"
#include "cli/select/property_names.h"
#include "cli/select/value_order.h"
#include "describe/description.h"

namespace vantry::cli {
namespace {

using client::Property;

/// Bounds the memory of a property that changes very often.
constexpr std::size_t kMostSamples = 1024;

bool IsDebugZone(const LiveRow& row) { return row.property.groupName == "Debug Zone"; }

bool Matches(const Property& property, const std::string& filter) {
    return MatchesPattern(property.groupName + "/" + property.name, filter) ||
           MatchesPattern(property.name, filter) || MatchesPattern(property.componentName, filter);
}

}  // namespace

const char* NameOf(LiveOrder order) {
    constexpr const char* kNames[] = {"movement", "name", "value", "last change"};
    return kNames[static_cast<std::size_t>(order)];
}

void LiveRows::Record(const Property& change, double seconds) {
    const auto [place, isNew] =
        rows.try_emplace(change.groupName + '\0' + change.name + '\0' + change.id.component +
                         change.id.group + change.id.property);
    LiveRow& row = place->second;
    if (isNew) {
        row.unit = catalog.DescriptionOf(change).unit;
    } else if (row.property.value != change.value || row.property.available != change.available) {
        row.changedAt = seconds;
    }
    row.property = change;
    const std::optional<double> number = describe::NumberIn(change.value);
    if (number && (row.samples.empty() || row.samples.back().number != *number)) {
        row.samples.push_back({seconds, *number});
    }
    while (row.samples.size() > kMostSamples ||
           (row.samples.size() > 1 && row.samples[1].seconds < seconds - kPlottedSeconds)) {
        row.samples.pop_front();
    }
}

bool LiveRows::IsBefore(const LiveRow& one, const LiveRow& other) const {
    if (IsDebugZone(one) != IsDebugZone(other)) {
        return IsDebugZone(other);
    }
    switch (order) {
        case LiveOrder::Moved:
            return one.changedAt >= 0 && other.changedAt < 0;
        case LiveOrder::Name:
            break;
        case LiveOrder::Value:
            return IsLessValue(one.property.value, other.property.value);
        case LiveOrder::Change:
            return one.changedAt > other.changedAt;
    }
    return Lower(one.property.name) < Lower(other.property.name);
}

std::vector<const LiveRow*> LiveRows::Shown() const {
    std::vector<const LiveRow*> shown;
    for (const auto& [key, row] : rows) {
        if (filter.empty() || Matches(row.property, filter)) {
            shown.push_back(&row);
        }
    }
    std::stable_sort(shown.begin(), shown.end(), [this](const LiveRow* one, const LiveRow* other) {
        return IsBefore(*one, *other);
    });
    return shown;
}

}  // namespace vantry::cli
