#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "wire/key/property_key.h"

namespace vantry {

/// The property, or the group, that an entry of a request names. The texts belong to the message.
struct WantedProperty {
    std::string_view component;
    /// `guid` is empty in a request for a whole group.
    SplitGuid guids;
};

/// The entries of a message that asks for a few properties and does nothing else, found without a
/// tree of its text. The text must outlive this object, which isn't thread-safe.
class PlainReads {
public:
    explicit PlainReads(std::string_view text);

    /// Returns what the message asks for, in order. It is empty if the message is of another kind
    /// or is written in an unusual way; the caller then has to parse the text.
    std::span<const WantedProperty> Entries() const { return {entries.data(), count}; }

private:
    static constexpr std::size_t kMostEntries = 8;

    std::array<WantedProperty, kMostEntries> entries;
    std::size_t count = 0;
};

}  // namespace vantry
