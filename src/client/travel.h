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

// What can travel, and how much at once. The hub ends the connection of a program that sends what
// it can't read, so such a thing is refused before a byte of it goes out.

/// Refuses an identity that would come back as another one, or as none: with an empty GUID, one
/// that holds a quote, a backslash or a control character, or a group with a colon.
Outcome CheckId(const PropertyId& id);
/// The same for the GUID of a group.
Outcome CheckGroup(const std::string& guid);
/// Refuses what the hub wouldn't take as a property of this program, or not as it was meant.
Outcome CheckAnnouncement(const Announcement& property);

/// The bytes that the entry takes in a message, a few more at most.
std::size_t BytesOf(const PropertyResponse& record);
std::size_t BytesOf(const PropertyRequest& request);

/// Shares entries out among messages of about 1 MiB, in their order.
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
