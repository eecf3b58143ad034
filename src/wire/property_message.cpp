#include "wire/property_message.h"

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

std::string_view Text(const JsonValue& entry, std::string_view field) {
    const JsonValue* const value = FindKey(entry.object, field);
    return value != nullptr ? std::string_view(value->string) : std::string_view();
}

/// Calls `use` with each entry of the section; a section that is no array has none.
template <typename Use>
void ForEachEntry(const JsonObject& object, std::string_view section, const Use& use) {
    if (const JsonValue* const value = FindKey(object, section)) {
        for (const JsonValue& entry : value->array) {
            use(entry, SplitCompositeGuid(Text(entry, Field::kGuid)));
        }
    }
}

void DecodeRequests(const JsonObject& object, std::string_view section,
                    std::deque<PropertyRequest>& requests) {
    ForEachEntry(object, section, [&](const JsonValue& entry, SplitGuid split) {
        requests.push_back({.component = std::string(Text(entry, Field::kComponent)),
                            .groupGuid = std::string(split.groupGuid),
                            .guid = std::string(split.guid)});
    });
}

}  // namespace

JsonObject MakeResponseEntry(PropertyResponse response) {
    JsonObject entry;
    entry.reserve(kResponseFields);
    // In the order of the keys, so that each goes to the end.
    entry.insert(std::string(Field::kComponent), std::move(response.component));
    entry.insert(std::string(Field::kComponentString), std::move(response.componentString));
    entry.insert(std::string(Field::kGuid), CompositeGuid(response.groupGuid, response.guid));
    entry.insert(std::string(Field::kGroupString), std::move(response.groupString));
    entry.insert(std::string(Field::kNameString), std::move(response.nameString));
    entry.insert(std::string(Field::kStatus), std::move(response.status));
    entry.insert(std::string(Field::kValue), std::move(response.value));
    return entry;
}

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

void PropertyMessage::EncodeSetRequests(std::deque<PropertySetRequest> requests) {
    JsonArray entries;
    entries.reserve(requests.size());
    for (PropertySetRequest& request : requests) {
        JsonObject entry;
        entry.insert(std::string(Field::kComponent), std::move(request.component));
        entry.insert(std::string(Field::kGuid), CompositeGuid(request.groupGuid, request.guid));
        entry.insert(std::string(Field::kValue), std::move(request.value));
        entries.emplace_back(std::move(entry));
    }
    object[Section::kSetRequests] = std::move(entries);
}

void PropertyMessage::EncodeGetResponses(std::deque<PropertyResponse> responses) {
    JsonArray entries;
    entries.reserve(responses.size());
    for (PropertyResponse& response : responses) {
        entries.emplace_back(MakeResponseEntry(std::move(response)));
    }
    object[Section::kGetResponses] = std::move(entries);
}

void PropertyMessage::EncodeGetAll() { object[Section::kGetAll] = true; }

void PropertyMessage::EncodeGetAllResponse() { object[Section::kGetAllResponse] = true; }

void PropertyMessage::EncodeSubscribeAll() { object[Section::kSubscribeAll] = true; }

void PropertyMessage::EncodeDisconnect() { object[Section::kDisconnect] = true; }

void PropertyMessage::DecodeSubscribeRequests(std::deque<PropertyRequest>& requests) const {
    DecodeRequests(object, Section::kSubscribeRequests, requests);
}

void PropertyMessage::DecodeGetRequests(std::deque<PropertyRequest>& requests) const {
    DecodeRequests(object, Section::kGetRequests, requests);
    DecodeRequests(object, Section::kSubscribeRequests, requests);
}

void PropertyMessage::DecodeSetRequests(std::deque<PropertySetRequest>& requests) const {
    ForEachEntry(object, Section::kSetRequests, [&](const JsonValue& entry, SplitGuid split) {
        requests.push_back({.guid = std::string(split.guid),
                            .groupGuid = std::string(split.groupGuid),
                            .component = std::string(Text(entry, Field::kComponent)),
                            .value = std::string(Text(entry, Field::kValue))});
    });
}

void PropertyMessage::DecodeGetResponses(std::deque<PropertyResponse>& responses) const {
    ForEachEntry(object, Section::kGetResponses, [&](const JsonValue& entry, SplitGuid split) {
        responses.push_back({.groupGuid = std::string(split.groupGuid),
                             .groupString = std::string(Text(entry, Field::kGroupString)),
                             .guid = std::string(split.guid),
                             .nameString = std::string(Text(entry, Field::kNameString)),
                             .value = std::string(Text(entry, Field::kValue)),
                             .status = std::string(Text(entry, Field::kStatus)),
                             .component = std::string(Text(entry, Field::kComponent)),
                             .componentString = std::string(Text(entry, Field::kComponentString))});
    });
}

}  // namespace vantry
