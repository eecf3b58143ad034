#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantry {

/// The fields of a record. The texts belong to the caller; `value` must be escaped.
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

/// Appends the entry of a response section for `record`, with the same bytes as WriteJsonObject
/// writes for the entry as a tree.
void AppendRecord(std::string& text, const RecordView& record);

/// Returns the place of the value in `text`, which ends with a record of this escaped value.
std::size_t ValuePlace(std::string_view text, std::string_view value);

/// Replaces the value of the record with which `text` ends. `place` is its place, and `value` must
/// be escaped.
void ReplaceValue(std::string& text, std::size_t place, std::string_view value);

/// Appends the entry that answers a request for a property that doesn't exist or that the peer may
/// not see. It repeats the identity in the request and has fixed texts in the other fields.
void AppendFailureRecord(std::string& text, std::string_view component, std::string_view groupGuid,
                         std::string_view guid);

/// Appends the entry of a write section. The value isn't escaped.
void AppendWrite(std::string& text, std::string_view component, std::string_view groupGuid,
                 std::string_view guid, std::string_view value);

}  // namespace vantry
