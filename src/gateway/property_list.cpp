#include "gateway/property_list.h"

namespace vantry::gateway {
namespace {

constexpr std::size_t kPartBytes = 64U << 10U;

}  // namespace

std::optional<std::string> PropertyList::Next() {
    if (hasEnded) {
        return std::nullopt;
    }
    const PropertyTable::Entries& all = table.All();
    auto next = last ? all.upper_bound(*last) : all.begin();
    for (; next != all.end() && text.size() < kPartBytes; ++next) {
        last = next->first;
        if (filter.Accepts(next->second.known.property)) {
            text += (isFirst ? "\n" : ",\n") + next->second.Json();
            isFirst = false;
        }
    }
    if (next == all.end()) {
        text += "]}\n";
        hasEnded = true;
    }
    return std::exchange(text, {});
}

}  // namespace vantry::gateway
