// Reading records and writes from a text that isn't valid JSON.
//
// Fields are found by the bytes between them, so a value may contain anything but these bytes. A
// field whose escapes are all good is unescaped, because its sender has probably escaped it; any
// other field is used unchanged.

#include "client/recovery.h"

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "wire/json/json_escapes.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// Returns the bytes before the value of a field.
std::string Opening(std::string_view field, bool first) {
    return (first ? "{\"" : "\",\"") + std::string(field) + "\": \"";
}

/// Returns the text without its escapes if all of them are good, and unchanged otherwise.
std::string UnescapeIfValid(std::string_view raw) {
    for (std::size_t at = raw.find('\\'); at < raw.size(); at = raw.find('\\', at)) {
        const std::size_t length = EscapeLength(raw.data() + at, raw.data() + raw.size());
        if (length == 0) {
            return std::string(raw);
        }
        at += length;
    }
    return UnescapeJsonString(raw);
}

/// Removes the text before `separator` and the separator from `rest`, and returns the text. Returns
/// nothing if there is no separator.
std::optional<std::string_view> TakeUpTo(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end + separator.size());
    return taken;
}

using FieldTexts = std::vector<std::pair<std::string_view, std::string*>>;

/// Removes the next entry with these fields from `rest` and stores the texts of its fields. Returns
/// false if there is none.
bool TakeEntry(std::string_view& rest, const FieldTexts& fields) {
    if (!TakeUpTo(rest, Opening(fields[0].first, true))) {
        return false;
    }
    for (std::size_t place = 0; place < fields.size(); ++place) {
        const bool isLast = place + 1 == fields.size();
        const auto raw = TakeUpTo(rest, isLast ? "\"}" : Opening(fields[place + 1].first, false));
        if (!raw) {
            return false;
        }
        *fields[place].second = UnescapeIfValid(*raw);
    }
    return true;
}

std::optional<PropertyResponse> TakeRecord(std::string_view& rest) {
    PropertyResponse record;
    std::string composite;
    if (!TakeEntry(rest, {{Field::kComponent, &record.component},
                          {Field::kComponentString, &record.componentString},
                          {Field::kGuid, &composite},
                          {Field::kGroupString, &record.groupString},
                          {Field::kNameString, &record.nameString},
                          {Field::kStatus, &record.status},
                          {Field::kValue, &record.value}})) {
        return std::nullopt;
    }
    const SplitGuid split = SplitCompositeGuid(composite);
    record.groupGuid = split.groupGuid;
    record.guid = split.guid;
    return record;
}

std::optional<PropertySetRequest> TakeWrite(std::string_view& rest) {
    PropertySetRequest write;
    std::string composite;
    if (!TakeEntry(rest, {{Field::kComponent, &write.component},
                          {Field::kGuid, &composite},
                          {Field::kValue, &write.value}})) {
        return std::nullopt;
    }
    const SplitGuid split = SplitCompositeGuid(composite);
    write.groupGuid = split.groupGuid;
    write.guid = split.guid;
    return write;
}

/// Returns the start of a text whose first section is this one.
std::string Beginning(std::string_view section, std::string_view value) {
    return "{\"" + std::string(section) + "\": " + std::string(value);
}

}  // namespace

void Recover(std::string_view text, PropertyMessage& message) {
    if (text.starts_with(Beginning(Section::kSetRequests, "["))) {
        std::deque<PropertySetRequest> writes;
        while (std::optional<PropertySetRequest> write = TakeWrite(text)) {
            writes.push_back(std::move(*write));
        }
        message.EncodeSetRequests(writes);
        return;
    }
    const bool isWhole = text.starts_with(Beginning(Section::kGetAllResponse, "true,"));
    if (!isWhole && !text.starts_with(Beginning(Section::kGetResponses, "["))) {
        return;
    }
    if (isWhole) {
        message.EncodeGetAllResponse();
    }
    std::deque<PropertyResponse> records;
    while (std::optional<PropertyResponse> record = TakeRecord(text)) {
        records.push_back(std::move(*record));
    }
    message.EncodeGetResponses(records);
}

}  // namespace vantry::client
