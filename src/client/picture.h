#pragma once

#include <deque>
#include <map>
#include <set>
#include <vector>

#include "client/property.h"
#include "wire/property_records.h"

namespace vantry::client {

/// What the subscribers of a Hub have been told, so that they can be told of what differs and
/// never of an older value after a newer one. Belongs to one thread.
///
/// A value that was read is as new as the hub itself; a publication that comes after it may hold a
/// value from before, because the hub collects changes and publishes them later. A property whose
/// last value was read is therefore doubtful when a publication says something else: it is to be
/// read again. Once a publication has been taken, those behind it are newer for certain.
class Picture {
public:
    /// Takes records that were read; one with the status "not found" says that the property is
    /// gone. Returns what the subscribers are to be told.
    std::vector<Property> TakeRead(std::deque<PropertyResponse> records);
    /// The same for records that are everything there is: what isn't among them is gone.
    std::vector<Property> TakeEverything(std::deque<PropertyResponse> records);

    /// Returns which properties of a publication must be read before it is taken: the doubtful
    /// ones, and those withdrawn, since they may be there again already.
    std::deque<PropertyRequest> ToBeRead(const std::deque<PropertyResponse>& published) const;
    /// Takes a publication, and what was read of it before.
    std::vector<Property> TakePublication(std::deque<PropertyResponse> published,
                                          std::deque<PropertyResponse> read);

    /// Returns what is known and of interest, as present values.
    std::vector<Property> Present(const Interest& interest) const;
    /// The next values of these properties, or of everything, are the first ones.
    void Await(const PropertyId& id) { awaited.insert(id); }
    void AwaitEverything() { awaitsEverything = true; }
    bool Knows(const PropertyId& id) const { return known.contains(id); }
    /// Forgets everything.
    void Clear();

private:
    struct Known {
        Property property;
        bool wasRead;
    };

    void TakeOneRead(PropertyResponse record, std::vector<Property>& news);
    void Lose(const PropertyId& id, Origin origin, std::vector<Property>& news);

    std::map<PropertyId, Known> known;
    std::set<PropertyId> awaited;
    bool awaitsEverything = false;
};

}  // namespace vantry::client
