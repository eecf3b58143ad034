// Encoding builds the tree of a section, whose keys are inserted in their order, which is the fast
// way (see JsonObject). Decoding copies the texts of the entries into records; a reader that needs
// no copies uses EntryView.

#include "wire/property_message.h"

#include <array>
#include <utility>

#include "wire/section_keys.h"

namespace vantry {
namespace {

constexpr std::size_t kResponseFields = 7;

JsonObject MakeRequestEntry(const PropertyRequest& request) {
    JsonObject entry;
    entry.reserve(2);
    entry.insert(std::string(Field::kComponent), request.component);
    entry.insert(std::string(Field::kGuid), CompositeGuid(request.groupGuid, request.guid));
    return entry;
}

JsonArray MakeRequestEntries(const std::deque<PropertyRequest>& requests) {
    JsonArray entries;
    entries.reserve(requests.size());
    for (const PropertyRequest& request : requests) {
        entries.emplace_back(MakeRequestEntry(request));
    }
    return entries;
}

std::string Text(const EntryView& entry, std::string_view field) {
    return std::string(entry.Text(field));
}

void DecodeRequests(const PropertyMessage& message, std::string_view section,
                    std::deque<PropertyRequest>& requests) {
    message.ForEachEntry(section, [&](const EntryView& entry) {
        requests.push_back({.component = std::string(entry.Component()),
                            .groupGuid = std::string(entry.GroupGuid()),
                            .guid = std::string(entry.Guid())});
        return true;
    });
}

/// Returns the entry of a response section for a record.
JsonObject MakeResponseEntry(const PropertyResponse& response) {
    JsonObject entry;
    entry.reserve(kResponseFields);
    // In the order of the keys, so that each is appended.
    entry.insert(std::string(Field::kComponent), response.component);
    entry.insert(std::string(Field::kComponentString), response.componentString);
    entry.insert(std::string(Field::kGuid), CompositeGuid(response.groupGuid, response.guid));
    entry.insert(std::string(Field::kGroupString), response.groupString);
    entry.insert(std::string(Field::kNameString), response.nameString);
    entry.insert(std::string(Field::kStatus), response.status);
    entry.insert(std::string(Field::kValue), response.value);
    return entry;
}

}  // namespace

EntryView::EntryView(const JsonValue& element)
    : fields(element.object), guids(SplitCompositeGuid(Text(Field::kGuid))) {}

std::string_view EntryView::Text(std::string_view field) const {
    const JsonValue* const value = FindKey(fields, field);
    return value != nullptr ? std::string_view(value->string) : std::string_view();
}

RequestSections::RequestSections(const JsonObject& message) {
    const std::array<std::pair<std::string_view, const JsonValue*&>, 7> known{
        {{Section::kGetRequests, getRequests},
         {Section::kSetRequests, setRequests},
         {Section::kSubscribeRequests, subscribeRequests},
         {Section::kGetResponses, getResponses},
         {Section::kGetAll, getAll},
         {Section::kSubscribeAll, subscribeAll},
         {Section::kDisconnect, disconnect}}};
    for (const JsonMember& member : message) {
        for (const auto& [key, place] : known) {
            if (member.key == key) {
                place = &member.value;
                break;
            }
        }
    }
}

std::string_view EntryView::Component() const { return Text(Field::kComponent); }

void PropertyMessage::AddSubscribeRequest(const PropertyRequest& request) {
    JsonValue& section = object[Section::kSubscribeRequests];
    section.type = JsonType::Array;
    section.array.emplace_back(MakeRequestEntry(request));
}

void PropertyMessage::AddSubscribeRequests(const std::deque<PropertyRequest>& requests) {
    object[Section::kSubscribeRequests] = MakeRequestEntries(requests);
}

void PropertyMessage::EncodeGetRequests(const std::deque<PropertyRequest>& requests) {
    object[Section::kGetRequests] = MakeRequestEntries(requests);
}

void PropertyMessage::EncodeSetRequests(const std::deque<PropertySetRequest>& requests) {
    JsonArray entries;
    entries.reserve(requests.size());
    for (const PropertySetRequest& request : requests) {
        JsonObject entry;
        entry.insert(std::string(Field::kComponent), request.component);
        entry.insert(std::string(Field::kGuid), CompositeGuid(request.groupGuid, request.guid));
        entry.insert(std::string(Field::kValue), request.value);
        entries.emplace_back(std::move(entry));
    }
    object[Section::kSetRequests] = std::move(entries);
}

void PropertyMessage::EncodeGetResponses(const std::deque<PropertyResponse>& responses) {
    JsonArray entries;
    entries.reserve(responses.size());
    for (const PropertyResponse& response : responses) {
        entries.emplace_back(MakeResponseEntry(response));
    }
    object[Section::kGetResponses] = std::move(entries);
}

void PropertyMessage::EncodeGetAll() { object[Section::kGetAll] = true; }

void PropertyMessage::EncodeGetAllResponse() { object[Section::kGetAllResponse] = true; }

void PropertyMessage::EncodeSubscribeAll() { object[Section::kSubscribeAll] = true; }

void PropertyMessage::EncodeDisconnect() { object[Section::kDisconnect] = true; }

void PropertyMessage::DecodeSubscribeRequests(std::deque<PropertyRequest>& requests) const {
    DecodeRequests(*this, Section::kSubscribeRequests, requests);
}

void PropertyMessage::DecodeGetRequests(std::deque<PropertyRequest>& requests) const {
    DecodeRequests(*this, Section::kGetRequests, requests);
    DecodeRequests(*this, Section::kSubscribeRequests, requests);
}

void PropertyMessage::DecodeSetRequests(std::deque<PropertySetRequest>& requests) const {
    ForEachEntry(Section::kSetRequests, [&](const EntryView& entry) {
        requests.push_back({.guid = std::string(entry.Guid()),
                            .groupGuid = std::string(entry.GroupGuid()),
                            .component = std::string(entry.Component()),
                            .value = Text(entry, Field::kValue)});
        return true;
    });
}

void PropertyMessage::DecodeGetResponses(std::deque<PropertyResponse>& responses) const {
    ForEachEntry(Section::kGetResponses, [&](const EntryView& entry) {
        responses.push_back({.groupGuid = std::string(entry.GroupGuid()),
                             .groupString = Text(entry, Field::kGroupString),
                             .guid = std::string(entry.Guid()),
                             .nameString = Text(entry, Field::kNameString),
                             .value = Text(entry, Field::kValue),
                             .status = Text(entry, Field::kStatus),
                             .component = std::string(entry.Component()),
                             .componentString = Text(entry, Field::kComponentString)});
        return true;
    });
}

}  // namespace vantry
