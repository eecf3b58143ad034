#pragma once

#include <deque>
#include <map>
#include <set>
#include <vector>

#include "client/property.h"
#include "wire/property_records.h"

namespace vantry::client {

/// The state of all properties as it was reported to the subscribers of a Hub. From new records it
/// computes the changes to report, so that an older value is never reported after a newer one. Used
/// by one thread.
///
/// A value that was read is the current one of the hub. A publication that arrives after it may
/// have an older value, because the hub collects changes and publishes them later. If the last
/// value of a property was read and a publication differs from it, the property is therefore
/// doubtful and must be read again. After one publication has been accepted, the following ones are
/// newer.
class Picture {
public:
    /// Accepts records that were read; a record with the status "not found" means that the property
    /// no longer exists. Returns the changes to report to the subscribers.
    std::vector<Property> TakeRead(std::deque<PropertyResponse> records);
    /// Does the same for records of all properties: a property without a record no longer exists.
    std::vector<Property> TakeEverything(std::deque<PropertyResponse> records);

    /// Returns the properties that must be read before a publication is accepted: the doubtful
    /// ones, and the withdrawn ones, since they may have been announced again.
    std::deque<PropertyRequest> ToBeRead(const std::deque<PropertyResponse>& published) const;
    /// Accepts a publication and the records that were read before it. Returns the changes to
    /// report.
    std::vector<Property> TakePublication(std::deque<PropertyResponse> published,
                                          std::deque<PropertyResponse> read);

    /// Returns the known properties that `interest` covers, with Origin::Present.
    std::vector<Property> Present(const Interest& interest) const;
    /// Makes the next value of the property, or of every property, be reported as Origin::Present.
    void Await(const PropertyId& id) { awaited.insert(id); }
    void AwaitEverything() { awaitsEverything = true; }
    /// Returns whether the property exists as far as was reported.
    bool Knows(const PropertyId& id) const { return known.contains(id); }
    /// Removes all state.
    void Clear();

private:
    struct Known {
        Property property;
        bool wasRead;
    };

    void TakeOneRead(PropertyResponse record, std::vector<Property>& changes);
    void Lose(const PropertyId& id, Origin origin, std::vector<Property>& changes);

    std::map<PropertyId, Known> known;
    std::set<PropertyId> awaited;
    bool awaitsEverything = false;
};

}  // namespace vantry::client
