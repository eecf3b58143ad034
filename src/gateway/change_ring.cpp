#include "gateway/change_ring.h"

#include <charconv>
#include <utility>

namespace vantry::gateway {

std::uint64_t ChangeRing::Add(std::optional<client::PropertyId> property, const char* type,
                              const std::string& data) {
    ++newest;
    events.push_back({std::move(property), std::string("event: ") + type + "\nid: " + IdOf(newest) +
                                               "\ndata: " + data + "\n\n"});
    bytes += events.back().text.size();
    while (events.size() > kMostEvents || (bytes > kMostBytes && events.size() > 1)) {
        bytes -= events.front().text.size();
        events.pop_front();
    }
    return newest;
}

std::string ChangeRing::IdOf(std::uint64_t number) const {
    return instance + "-" + std::to_string(number);
}

std::optional<std::uint64_t> ChangeRing::NumberIn(const std::string& id) const {
    const std::string prefix = instance + "-";
    std::uint64_t number = 0;
    const char* const end = id.data() + id.size();
    if (!id.starts_with(prefix) || id.size() == prefix.size()) {
        return std::nullopt;
    }
    const auto read = std::from_chars(id.data() + prefix.size(), end, number);
    if (read.ec != std::errc{} || read.ptr != end) {
        return std::nullopt;
    }
    return number;
}

}  // namespace vantry::gateway
