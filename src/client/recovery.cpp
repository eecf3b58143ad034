#include "client/recovery.h"

#include <array>
#include <optional>
#include <string>

#include "wire/json/json_escapes.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// What stands in front of the value of a field.
std::string Opening(std::string_view field, bool first) {
    return (first ? "{\"" : "\",\"") + std::string(field) + "\": \"";
}

/// A text as it was meant: without its escapes, if it holds good ones alone.
std::string Meant(std::string_view raw) {
    for (std::size_t at = raw.find('\\'); at < raw.size(); at = raw.find('\\', at)) {
        const std::size_t length = EscapeLength(raw.data() + at, raw.data() + raw.size());
        if (length == 0) {
            return std::string(raw);
        }
        at += length;
    }
    return UnescapeJsonString(raw);
}

/// Takes the text in front of `separator` off the rest; nothing if it isn't there.
std::optional<std::string_view> TakeUpTo(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end + separator.size());
    return taken;
}

std::optional<PropertyResponse> TakeRecord(std::string_view& rest) {
    PropertyResponse record;
    std::string composite;
    const std::array<std::pair<std::string_view, std::string*>, 7> fields = {
        {{Field::kComponent, &record.component},
         {Field::kComponentString, &record.componentString},
         {Field::kGuid, &composite},
         {Field::kGroupString, &record.groupString},
         {Field::kNameString, &record.nameString},
         {Field::kStatus, &record.status},
         {Field::kValue, &record.value}}};
    if (!TakeUpTo(rest, Opening(fields[0].first, true))) {
        return std::nullopt;
    }
    for (std::size_t place = 0; place < fields.size(); ++place) {
        const bool isLast = place + 1 == fields.size();
        const auto raw = TakeUpTo(rest, isLast ? "\"}" : Opening(fields[place + 1].first, false));
        if (!raw) {
            return std::nullopt;
        }
        *fields[place].second = Meant(*raw);
    }
    const SplitGuid split = SplitCompositeGuid(composite);
    record.groupGuid = split.groupGuid;
    record.guid = split.guid;
    return record;
}

}  // namespace

std::deque<PropertyResponse> RecoverResponses(std::string_view text) {
    std::deque<PropertyResponse> records;
    while (std::optional<PropertyResponse> record = TakeRecord(text)) {
        records.push_back(std::move(*record));
    }
    return records;
}

}  // namespace vantry::client
