#include "property/bool_property.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool ParseBool(std::string_view text) {
    constexpr std::string_view kFalse = "false";
    return !std::equal(text.begin(), text.end(), kFalse.begin(), kFalse.end(),
                       [](char given, char wanted) { return ToLower(given) == wanted; });
}

}  // namespace

BoolProperty::BoolProperty(bool initial, PropertyIdentity name)
    : Property(std::move(name)), value(initial) {}

void BoolProperty::GetText(std::string& text) const { text = GetValue() ? "True" : "False"; }

Refusal BoolProperty::SetText(std::string_view text) { return SetValue(ParseBool(text)); }

Refusal BoolProperty::SetTextQuietly(std::string_view text) {
    SetValueQuietly(ParseBool(text));
    return kAccepted;
}

Refusal BoolProperty::SetValue(bool on) {
    if (value.exchange(on, std::memory_order_relaxed) == on) {
        return kAccepted;
    }
    ValueStored();
    return NotifyChanged();
}

}  // namespace vantry
