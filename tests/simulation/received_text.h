#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::simulation {

/// The members of one entry.
using Entry = std::map<std::string, std::string, std::less<>>;

/// A text from the hub, taken apart by the rules of docs/PROTOCOL.md for what the hub writes.
struct ReceivedText {
    bool everything = false;
    std::vector<Entry> records;
    std::vector<Entry> writes;
};

/// Returns nothing if the text breaks one of those rules.
std::optional<ReceivedText> ReadText(std::string_view text);

}  // namespace vantry::simulation
