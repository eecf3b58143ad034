#pragma once

#include <deque>
#include <memory>
#include <set>
#include <string>

#include "client/property.h"
#include "wire/property_message.h"

namespace vantry::client {

/// A question to the hub, which knows its answer: answers carry no mark of their question, and one
/// that is taken for that of another would give the value of another property.
class Question {
public:
    static Question Everything();
    static Question Group(const std::string& guid);
    /// The identities must have been checked (see CheckId), and there must be one at least.
    static Question List(const std::deque<PropertyRequest>& requests);

    const PropertyMessage& Message() const { return *message; }
    /// Whether this can be the answer; `records` are those of `answer`.
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
