#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "wire/property_records.h"

namespace vantry::client {

// Checks of what can be sent to the hub, and the division of long requests into messages. The hub
// ends the connection of a program that sends something it can't read, so that is refused before
// anything is sent. All functions are thread-safe.

/// Returns Refused for an identity that the protocol can't express: one with an empty GUID, with a
/// quote, a backslash or a control character, or with a colon in the GUID of the group.
Outcome CheckId(const PropertyId& id);
/// Does the same for the GUID of a group.
Outcome CheckGroup(const std::string& guid);
/// Returns Refused for a property that the hub would reject or change.
Outcome CheckAnnouncement(const Announcement& property);

/// Returns an upper bound, close to the real number, of the bytes of the entry in a message.
std::size_t BytesOf(const PropertyResponse& record);
/// Does the same for a question.
std::size_t BytesOf(const PropertyRequest& request);

/// Divides entries, in their order, into parts for messages of about 1 MiB. Returns no part if
/// there is no entry.
template <typename Entry>
std::vector<std::deque<Entry>> InParts(std::deque<Entry> entries) {
    constexpr std::size_t kPartBytes = 1U << 20U;
    std::vector<std::deque<Entry>> parts;
    std::size_t bytes = kPartBytes;
    for (Entry& entry : entries) {
        const std::size_t more = BytesOf(entry);
        if (bytes + more > kPartBytes) {
            parts.emplace_back();
            bytes = 0;
        }
        bytes += more;
        parts.back().push_back(std::move(entry));
    }
    return parts;
}

}  // namespace vantry::client
