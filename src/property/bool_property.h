#pragma once

#include <atomic>

#include "property/property.h"

namespace vantry {

/// A bool, whose text is "True" or "False". Every text but "false", in upper or lower case, is read
/// as true, so no text is refused.
class BoolProperty : public Property {
public:
    BoolProperty(bool initial, PropertyIdentity name);

    void GetText(std::string& text) const override;
    Refusal SetText(std::string_view text) override;
    Refusal SetTextQuietly(std::string_view text) override;

    /// Sets the value and calls the callbacks if it has changed. Returns what NotifyChanged
    /// returns.
    virtual Refusal SetValue(bool on);
    /// Sets the value and calls no callback.
    virtual void SetValueQuietly(bool on) {
        value.store(on, std::memory_order_relaxed);
        ValueStored();
    }
    virtual bool GetValue() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> value;
};

}  // namespace vantry
