#include "wire/record_text.h"

#include "wire/property_records.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

void AppendField(std::string& text, char before, std::string_view field, std::string_view content) {
    text += before;
    text += '"';
    text += field;
    text += "\": \"";
    text += content;
    text += '"';
}

void AppendGuid(std::string& text, std::string_view groupGuid, std::string_view guid) {
    AppendField(text, ',', Field::kGuid, groupGuid);
    text.back() = ':';
    text += guid;
    text += '"';
}

}  // namespace

void AppendRecord(std::string& text, const RecordView& record) {
    // The fields are in the order of their keys, as in a JsonObject.
    AppendField(text, '{', Field::kComponent, record.component);
    AppendField(text, ',', Field::kComponentString, record.componentString);
    AppendGuid(text, record.groupGuid, record.guid);
    AppendField(text, ',', Field::kGroupString, record.groupString);
    AppendField(text, ',', Field::kNameString, record.nameString);
    AppendField(text, ',', Field::kStatus, record.status);
    AppendField(text, ',', Field::kValue, record.value);
    text += '}';
}

void AppendFailureRecord(std::string& text, std::string_view component, std::string_view groupGuid,
                         std::string_view guid) {
    constexpr std::string_view kUnknownGroup = "Unknown Group";
    AppendRecord(text, {.component = component,
                        // The protocol has no separate text for an unknown component.
                        .componentString = kUnknownGroup,
                        .groupGuid = groupGuid,
                        .guid = guid,
                        .groupString = kUnknownGroup,
                        .nameString = "Unknown Property",
                        .status = Status::kNotFound,
                        .value = "Invalid Value"});
}

void AppendWrite(std::string& text, std::string_view component, std::string_view groupGuid,
                 std::string_view guid, std::string_view value) {
    AppendField(text, '{', Field::kComponent, component);
    AppendGuid(text, groupGuid, guid);
    AppendField(text, ',', Field::kValue, value);
    text += '}';
}

}  // namespace vantry
