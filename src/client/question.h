#pragma once

#include <deque>
#include <memory>
#include <set>
#include <string>

#include "client/property.h"
#include "wire/property_message.h"

namespace vantry::client {

/// A request for values, which can recognise its answer. Answers have no reference to their
/// request, and using the answer to another request would give the values of other properties.
class Question {
public:
    /// Returns a request for every property.
    static Question Everything();
    /// Returns a request for the members of a group, whose GUID must be valid (see CheckGroup).
    static Question Group(const std::string& guid);
    /// Returns a request for a list of at least one property. The identities must be valid (see
    /// CheckId).
    static Question List(const std::deque<PropertyRequest>& requests);

    const PropertyMessage& Message() const { return *message; }
    /// Returns whether `answer` can be the answer to this request; `records` are its records.
    bool IsAnsweredBy(const PropertyMessage& answer,
                      const std::deque<PropertyResponse>& records) const;

private:
    Question() : message(std::make_unique<PropertyMessage>()) {}

    std::unique_ptr<PropertyMessage> message;
    bool everything = false;
    std::string group;
    std::set<PropertyId> ids;
};

}  // namespace vantry::client
