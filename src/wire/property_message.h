#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "wire/json_message.h"
#include "wire/key/property_key.h"
#include "wire/property_records.h"

namespace vantry {

/// Reads one entry of a section without copying it. The message must outlive the view and the texts
/// that it returns. A missing or wrongly typed field is an empty text.
class EntryView {
public:
    explicit EntryView(const JsonValue& element);

    /// Returns the text of the field with this name.
    std::string_view Text(std::string_view field) const;
    std::string_view Component() const;
    /// Returns both halves of the GUID.
    const SplitGuid& Guids() const { return guids; }
    /// Returns what stands before the first ":" of the GUID.
    std::string_view GroupGuid() const { return guids.groupGuid; }
    /// Returns an empty text in a request for a whole group.
    std::string_view Guid() const { return guids.guid; }

private:
    const JsonObject& fields;
    SplitGuid guids;
};

/// The sections that a request can have, found with one pass over the message, which must outlive
/// this object. Each field is null if the section is absent.
struct RequestSections {
    explicit RequestSections(const JsonObject& message);

    bool WantEverything() const { return getAll != nullptr || subscribeAll != nullptr; }
    bool Subscribe() const { return subscribeRequests != nullptr || subscribeAll != nullptr; }
    bool Read() const { return WantEverything() || Subscribe() || getRequests != nullptr; }
    /// Calls `use` with an EntryView of each entry of a section, in order, until it returns false.
    /// A section that is absent or no array has no entries.
    template <typename Use>
    static void ForEachEntry(const JsonValue* section, const Use& use) {
        if (section == nullptr) {
            return;
        }
        for (const JsonValue& element : section->array) {
            if (!use(EntryView(element))) {
                return;
            }
        }
    }

    const JsonValue* getRequests = nullptr;
    const JsonValue* setRequests = nullptr;
    const JsonValue* subscribeRequests = nullptr;
    const JsonValue* getResponses = nullptr;
    const JsonValue* getAll = nullptr;
    const JsonValue* subscribeAll = nullptr;
    const JsonValue* disconnect = nullptr;
};

/// A message of the hub or a component, which consists of sections with entries.
///
/// Decoding never fails: a missing or wrongly typed field is decoded as an empty text. Encoding
/// replaces a section; only the operations whose names begin with "Add" append to one. Used by one
/// thread at a time.
class PropertyMessage final : public JsonMessage {
public:
    /// Returns whether there is a section of this name, whatever its type.
    bool HasSection(std::string_view key) const { return FindKey(object, key) != nullptr; }

    RequestSections Sections() const { return RequestSections(object); }
    /// Does the same as RequestSections::ForEachEntry with the section of this key.
    template <typename Use>
    void ForEachEntry(std::string_view section, const Use& use) const {
        RequestSections::ForEachEntry(FindKey(object, section), use);
    }

    /// Appends one entry to the subscribe section. The hub and the tools don't call it; it is kept
    /// for programs that put a subscription together piece by piece.
    void AddSubscribeRequest(const PropertyRequest& request);
    /// Appends entries to the subscribe section.
    void AddSubscribeRequests(const std::deque<PropertyRequest>& requests);
    void EncodeGetRequests(const std::deque<PropertyRequest>& requests);
    void EncodeSetRequests(const std::deque<PropertySetRequest>& requests);
    /// Requires that the texts of the records are escaped (see EscapeJsonText).
    void EncodeGetResponses(const std::deque<PropertyResponse>& responses);
    void EncodeGetAll();
    void EncodeGetAllResponse();
    void EncodeSubscribeAll();
    void EncodeDisconnect();

    /// The following operations append the entries of a section, in order.
    void DecodeSubscribeRequests(std::deque<PropertyRequest>& requests) const;
    /// Also appends the entries of the subscribe section, since a subscription is answered with the
    /// current values.
    void DecodeGetRequests(std::deque<PropertyRequest>& requests) const;
    void DecodeSetRequests(std::deque<PropertySetRequest>& requests) const;
    void DecodeGetResponses(std::deque<PropertyResponse>& responses) const;
};

}  // namespace vantry
