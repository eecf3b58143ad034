#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "wire/json_message.h"
#include "wire/property_records.h"

namespace vantry {

/// The one kind of message that the hub and its components exchange: sections of entries.
///
/// Decoding never fails: a missing or wrongly typed field reads as empty. Encoding replaces a
/// section; only AddSubscribeRequest appends to one.
class PropertyMessage final : public JsonMessage {
public:
    bool HasSection(std::string_view key) const { return FindKey(object, key) != nullptr; }

    /// Appends one entry to the subscribe section.
    void AddSubscribeRequest(const PropertyRequest& request);
    void AddSubscribeRequests(const std::deque<PropertyRequest>& requests);
    void EncodeGetRequests(const std::deque<PropertyRequest>& requests);
    void EncodeSetRequests(std::deque<PropertySetRequest> requests);
    /// The values of the records must have been escaped.
    void EncodeGetResponses(std::deque<PropertyResponse> responses);
    void EncodeGetAll();
    void EncodeGetAllResponse();
    void EncodeSubscribeAll();
    void EncodeDisconnect();

    /// Each appends the entries of its section, in order.
    void DecodeSubscribeRequests(std::deque<PropertyRequest>& requests) const;
    /// A subscription also gets the current values, so its entries follow those of the reads.
    void DecodeGetRequests(std::deque<PropertyRequest>& requests) const;
    void DecodeSetRequests(std::deque<PropertySetRequest>& requests) const;
    void DecodeGetResponses(std::deque<PropertyResponse>& responses) const;
};

/// The entry of a record as it stands in a response section.
JsonObject MakeResponseEntry(PropertyResponse response);

}  // namespace vantry
