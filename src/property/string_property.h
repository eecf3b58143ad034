#pragma once

#include <cstddef>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// A text. Every byte is kept as it is and no text is refused.
class StringProperty : public Property {
public:
    StringProperty(std::string initial, PropertyIdentity name);

    void GetText(std::string& text) const override { GetValue(text); }
    Refusal SetText(std::string_view text) override { return SetValue(text); }
    Refusal SetTextQuietly(std::string_view text) override;

    /// Sets the value and calls the callbacks if it has changed. Returns what NotifyChanged
    /// returns.
    virtual Refusal SetValue(std::string_view text);
    /// Replaces `text` by the value.
    virtual void GetValue(std::string& text) const;
    /// Returns whether this is the value.
    bool HasValue(std::string_view text) const;
    /// Returns the number of bytes of the value.
    std::size_t ValueLength() const;

private:
    Mutex lock;
    std::string value GUARDED_BY(lock);
};

}  // namespace vantry
