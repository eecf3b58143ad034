#include "property/string_property.h"

#include <utility>

namespace vantry {
namespace {

/// Assigns `text` so that `value` keeps little more memory than the text needs, however long the
/// values before it were.
void Replace(std::string& value, std::string_view text) {
    constexpr std::size_t kShort = 64;
    if (text.size() > value.capacity() || value.capacity() > 2 * text.size() + kShort) {
        // A move from a short string would keep the memory.
        std::string(text).swap(value);
    } else {
        value = text;
    }
}

}  // namespace

StringProperty::StringProperty(std::string initial, PropertyIdentity name)
    : Property(std::move(name)), value(std::move(initial)) {}

Refusal StringProperty::SetTextQuietly(std::string_view text) {
    {
        ScopedLock guard(lock);
        Replace(value, text);
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
        Replace(value, text);
    }
    ValueStored();
    return NotifyChanged();
}

std::size_t StringProperty::ValueLength() const {
    ScopedLock guard(lock);
    return value.size();
}

bool StringProperty::HasValue(std::string_view text) const {
    ScopedLock guard(lock);
    return value == text;
}

void StringProperty::GetValue(std::string& text) const {
    ScopedLock guard(lock);
    text = value;
}

}  // namespace vantry
