#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "wire/json_message.h"
#include "wire/key/property_key.h"
#include "wire/property_records.h"

namespace vantry {

/// One entry of a section, seen in the message that it stands in. A missing or wrongly typed field
/// reads as empty.
class EntryView {
public:
    explicit EntryView(const JsonValue& element);

    std::string_view Text(std::string_view field) const;
    std::string_view Component() const;
    std::string_view GroupGuid() const { return guids.groupGuid; }
    /// Empty in a request for a whole group.
    std::string_view Guid() const { return guids.guid; }

private:
    const JsonObject& fields;
    SplitGuid guids;
};

/// The one kind of message that the hub and its components exchange: sections of entries.
///
/// Decoding never fails: a missing or wrongly typed field reads as empty. Encoding replaces a
/// section; only AddSubscribeRequest appends to one.
class PropertyMessage final : public JsonMessage {
public:
    bool HasSection(std::string_view key) const { return FindKey(object, key) != nullptr; }

    /// Calls `use` with an EntryView of each entry of a section, in order, until it returns false.
    /// A section that is no array has no entries.
    template <typename Use>
    void ForEachEntry(std::string_view section, const Use& use) const {
        const JsonValue* const value = FindKey(object, section);
        if (value == nullptr) {
            return;
        }
        for (const JsonValue& element : value->array) {
            if (!use(EntryView(element))) {
                return;
            }
        }
    }

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

}  // namespace vantry
