#include "property/string_property.h"

#include <utility>

namespace vantry {

StringProperty::StringProperty(std::string initial, PropertyIdentity name)
    : Property(std::move(name)), value(std::move(initial)) {}

Refusal StringProperty::SetTextQuietly(std::string_view text) {
    {
        ScopedLock guard(lock);
        value = text;
    }
    ValueStored();
    return kAccepted;
}

Refusal StringProperty::SetValue(std::string_view text) {
    {
        ScopedLock guard(lock);
        if (value == text) {
            return kAccepted;
        }
        value = text;
    }
    ValueStored();
    return NotifyChanged();
}

void StringProperty::GetValue(std::string& text) const {
    ScopedLock guard(lock);
    text = value;
}

}  // namespace vantry
