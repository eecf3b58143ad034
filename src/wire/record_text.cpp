#include "wire/record_text.h"

#include <algorithm>

#include "wire/field_start.h"
#include "wire/property_records.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

/// Appends all the pieces. The size of the text is set once, and those that are constants are
/// stored without a call, which is what most of the time would go to otherwise.
template <typename... Pieces>
[[gnu::always_inline]] inline void AppendAll(std::string& text, const Pieces&... pieces) {
    const std::size_t before = text.size();
    text.resize(before + (pieces.size() + ...));
    char* to = text.data() + before;
    ((to = std::copy(pieces.begin(), pieces.end(), to)), ...);
}

constexpr std::string_view kBegin = "{";
constexpr std::string_view kColon = ":";
/// Ends a field, and begins the next one.
constexpr std::string_view kNext = "\",";
constexpr std::string_view kEnd = "\"}";

}  // namespace

void AppendRecord(std::string& text, const RecordView& record) {
    // The fields are in the order of their keys, as in a JsonObject.
    AppendAll(text, kBegin, FieldStart<Field::kComponent>::View(), record.component, kNext,
              FieldStart<Field::kComponentString>::View(), record.componentString, kNext,
              FieldStart<Field::kGuid>::View(), record.groupGuid, kColon, record.guid, kNext,
              FieldStart<Field::kGroupString>::View(), record.groupString, kNext,
              FieldStart<Field::kNameString>::View(), record.nameString, kNext,
              FieldStart<Field::kStatus>::View(), record.status, kNext,
              FieldStart<Field::kValue>::View(), record.value, kEnd);
}

std::size_t ValuePlace(std::string_view text, std::string_view value) {
    return text.size() - kEnd.size() - value.size();
}

void ReplaceValue(std::string& text, std::size_t place, std::string_view value) {
    const std::size_t size = place + value.size() + kEnd.size();
    // Each property keeps a text, so none may have much more memory than it needs, be it that a
    // longer value came before or that a string which grows takes twice its memory.
    constexpr std::size_t kSpare = 64;
    if (text.capacity() < size || text.capacity() > size + kSpare) {
        std::string fitting;
        fitting.reserve(size);
        text.swap(fitting.append(text, 0, place));
    }
    text.resize(place);
    text.append(value).append(kEnd);
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
    AppendAll(text, kBegin, FieldStart<Field::kComponent>::View(), component, kNext,
              FieldStart<Field::kGuid>::View(), groupGuid, kColon, guid, kNext,
              FieldStart<Field::kValue>::View(), value, kEnd);
}

}  // namespace vantry
