#pragma once

#include <atomic>

#include "property/property.h"

namespace vantry {

/// A switch, "True" or "False" as text. Every text but "false", in whatever case, reads as true.
class BoolProperty : public Property {
public:
    BoolProperty(bool initial, PropertyIdentity name);

    void GetText(std::string& text) const override;
    Refusal SetText(std::string_view text) override;
    Refusal SetTextQuietly(std::string_view text) override;

    virtual Refusal SetValue(bool on);
    virtual void SetValueQuietly(bool on) {
        value.store(on, std::memory_order_relaxed);
        ValueStored();
    }
    virtual bool GetValue() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> value;
};

}  // namespace vantry
