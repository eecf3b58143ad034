#include "property/uint32_property.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace vantry {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Parses like strtoul with base 10 where a long has 32 bits. Leaves `number` alone on a refusal.
Refusal ParseNumber(std::string_view text, std::uint32_t& number) {
    text.remove_prefix(static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), IsSpace) - text.begin()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::uint32_t magnitude = 0;
    const std::errc error = std::from_chars(text.data(), text.data() + text.size(), magnitude).ec;
    if (error != std::errc{}) {
        return error == std::errc::result_out_of_range ? kNumberTooLarge : kNoNumber;
    }
    number = negative ? 0 - magnitude : magnitude;
    return kAccepted;
}

}  // namespace

UInt32Property::UInt32Property(std::uint32_t initial, PropertyIdentity name)
    : Property(std::move(name)), value(initial) {}

void UInt32Property::GetText(std::string& text) const { text = std::to_string(Value()); }

Refusal UInt32Property::SetText(std::string_view text) {
    std::uint32_t number = 0;
    const Refusal refusal = ParseNumber(text, number);
    return refusal.empty() ? SetValue(number) : refusal;
}

Refusal UInt32Property::SetTextQuietly(std::string_view text) {
    std::uint32_t number = 0;
    const Refusal refusal = ParseNumber(text, number);
    if (refusal.empty()) {
        value.store(number, std::memory_order_relaxed);
        ValueStored();
    }
    return refusal;
}

Refusal UInt32Property::SetValue(std::uint32_t number) {
    if (value.exchange(number, std::memory_order_relaxed) == number) {
        return kAccepted;
    }
    ValueStored();
    return NotifyChanged();
}

}  // namespace vantry
