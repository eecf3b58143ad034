// The checks follow from how the hub treats texts: it sends identities unescaped, so they must not
// need escaping; it splits a composite GUID at the first colon, so that of a group must have none;
// and its reader ends a text at a zero byte.

#include "client/travel.h"

#include <algorithm>
#include <string_view>

#include "client/records.h"
#include "transport/frame/frame.h"
#include "wire/vocabulary/components.h"

namespace vantry::client {
namespace {

/// The bytes of an entry without its texts, and a share of those of the message.
constexpr std::size_t kEntryBytes = 160;

bool IsPlain(std::string_view text) {
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char byte) {
        return byte == '"' || byte == '\\' || static_cast<unsigned char>(byte) < 0x20;
    });
}

bool IsPlainGroup(std::string_view guid) {
    return IsPlain(guid) && guid.find(':') == std::string_view::npos;
}

Error Refused(std::string text) { return {ErrorCode::Refused, std::move(text)}; }

}  // namespace

Outcome CheckGroup(const std::string& guid) {
    if (IsPlainGroup(guid)) {
        return Done{};
    }
    return Refused("'" + guid + "' can't be the GUID of a group");
}

Outcome CheckId(const PropertyId& id) {
    if (IsPlain(id.component) && IsPlainGroup(id.group) && IsPlain(id.property)) {
        return Done{};
    }
    return Refused("'" + id.component + "' '" + id.group + "' '" + id.property +
                   "' can't identify a property: a GUID is not empty, holds no quote, backslash or "
                   "control character, and no colon in that of the group");
}

Outcome CheckAnnouncement(const Announcement& property) {
    if (Outcome good = CheckId(property.id); !good) {
        return good;
    }
    if (property.id.component == Components::kVantry.guid) {
        return Refused("\"" + property.name + "\" can't be announced as a property of the hub");
    }
    for (const std::string* name : {&property.componentName, &property.groupName, &property.name}) {
        if (name->find('\0') != std::string::npos) {
            return Refused("a name can't hold a NUL");
        }
    }
    if (!IsValue(property.type, property.value)) {
        return Refused("'" + property.value + "' is no value of \"" + property.name + "\"");
    }
    if (BytesOf(ReportOf(property, Status::kNoLongerAvailable)) > Frame::kMaximumText) {
        return Refused("\"" + property.name + "\" is too long for a message to the hub");
    }
    return Done{};
}

std::size_t BytesOf(const PropertyResponse& record) {
    return kEntryBytes + record.component.size() + record.componentString.size() +
           record.groupGuid.size() + record.guid.size() + record.groupString.size() +
           record.nameString.size() + record.status.size() + record.value.size();
}

std::size_t BytesOf(const PropertyRequest& request) {
    return kEntryBytes + request.component.size() + request.groupGuid.size() + request.guid.size();
}

}  // namespace vantry::client
