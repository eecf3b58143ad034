#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// What a record says of a property. The texts belong to others; `value` has been escaped.
struct RecordView {
    std::string_view component;
    std::string_view componentString;
    std::string_view groupGuid;
    std::string_view guid;
    std::string_view groupString;
    std::string_view nameString;
    std::string_view status;
    std::string_view value;
};

/// Appends the entry of a response section for `record`, as the writer of trees would.
void AppendRecord(std::string& text, const RecordView& record);

/// Appends the entry that answers a request which found nothing, or nothing that its sender may
/// see: it echoes what was asked and fills the rest with fixed words.
void AppendFailureRecord(std::string& text, std::string_view component, std::string_view groupGuid,
                         std::string_view guid);

/// Appends the entry of a write section. The value goes out as it is.
void AppendWrite(std::string& text, std::string_view component, std::string_view groupGuid,
                 std::string_view guid, std::string_view value);

}  // namespace vantry
