// Each known property has its last reported state and the way in which it arrived. TakeRead reports
// a property that differs; TakePublication reports every record, since a value may change and
// change back within a period, except one that a read has shown to be outdated. The records that
// were read before a publication are accepted after it, because they are newer.

#include "client/picture.h"

#include <utility>

#include "client/records.h"
#include "client/travel.h"

namespace vantry::client {
namespace {

PropertyId IdOf(const PropertyResponse& record) {
    return {record.component, record.groupGuid, record.guid};
}

bool SaysTheSame(const Property& one, const Property& other) {
    return one.value == other.value && one.name == other.name && one.groupName == other.groupName &&
           one.componentName == other.componentName;
}

}  // namespace

void Picture::Lose(const PropertyId& id, Origin origin, std::vector<Property>& changes) {
    const auto found = known.find(id);
    if (found == known.end()) {
        return;
    }
    Property gone = std::move(found->second.property);
    known.erase(found);
    gone.available = false;
    gone.origin = origin;
    changes.push_back(std::move(gone));
}

void Picture::TakeOneRead(PropertyResponse record, std::vector<Property>& changes) {
    const PropertyId id = IdOf(record);
    const bool isFirst = awaited.erase(id) > 0 || awaitsEverything;
    if (record.status != Status::kSuccessful) {
        Lose(id, Origin::Reconciled, changes);
        return;
    }
    Property now = FromRecord(std::move(record));
    const auto found = known.find(id);
    if (found != known.end() && SaysTheSame(found->second.property, now)) {
        return;
    }
    now.origin = isFirst && found == known.end() ? Origin::Present : Origin::Reconciled;
    changes.push_back(now);
    known.insert_or_assign(id, Known{std::move(now), true});
}

std::vector<Property> Picture::TakeRead(std::deque<PropertyResponse> records) {
    std::vector<Property> changes;
    for (PropertyResponse& record : records) {
        TakeOneRead(std::move(record), changes);
    }
    return changes;
}

std::vector<Property> Picture::TakeEverything(std::deque<PropertyResponse> records) {
    std::set<PropertyId> missing;
    for (const auto& [id, entry] : known) {
        missing.insert(missing.end(), id);
    }
    for (const PropertyResponse& record : records) {
        missing.erase(IdOf(record));
    }
    std::vector<Property> changes = TakeRead(std::move(records));
    for (const PropertyId& id : missing) {
        Lose(id, Origin::Reconciled, changes);
    }
    awaitsEverything = false;
    return changes;
}

std::deque<PropertyRequest> Picture::ToBeRead(const std::deque<PropertyResponse>& published) const {
    std::set<PropertyId> ids;
    for (const PropertyResponse& record : published) {
        const PropertyId id = IdOf(record);
        const auto found = known.find(id);
        const bool isDoubtful = found != known.end() && found->second.wasRead &&
                                found->second.property.value != record.value;
        if ((isDoubtful || record.status != Status::kSuccessful) && CheckId(id)) {
            ids.insert(id);
        }
    }
    std::deque<PropertyRequest> requests;
    for (const PropertyId& id : ids) {
        requests.push_back(RequestFor(id));
    }
    return requests;
}

std::vector<Property> Picture::TakePublication(std::deque<PropertyResponse> published,
                                               std::deque<PropertyResponse> read) {
    std::map<PropertyId, const PropertyResponse*> checked;
    for (const PropertyResponse& record : read) {
        checked[IdOf(record)] = &record;
    }
    std::vector<Property> changes;
    for (PropertyResponse& record : published) {
        const PropertyId id = IdOf(record);
        if (record.status != Status::kSuccessful) {
            Lose(id, Origin::Change, changes);
            continue;
        }
        const auto check = checked.find(id);
        if (check != checked.end() && (check->second->status != Status::kSuccessful ||
                                       check->second->value != record.value)) {
            continue;  // The record that was read is newer and is accepted below.
        }
        awaited.erase(id);
        Property now = FromRecord(std::move(record));
        now.origin = Origin::Change;
        changes.push_back(now);
        known.insert_or_assign(id, Known{std::move(now), false});
    }
    for (Property& later : TakeRead(std::move(read))) {
        changes.push_back(std::move(later));
    }
    return changes;
}

std::vector<Property> Picture::Present(const Interest& interest) const {
    std::vector<Property> present;
    for (const auto& [id, entry] : known) {
        if (interest.Covers(id)) {
            present.push_back(entry.property);
            present.back().origin = Origin::Present;
        }
    }
    return present;
}

void Picture::Clear() {
    known.clear();
    awaited.clear();
    awaitsEverything = false;
}

}  // namespace vantry::client
