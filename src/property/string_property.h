#pragma once

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// A text, byte for byte.
class StringProperty : public Property {
public:
    StringProperty(std::string initial, PropertyIdentity name);

    void GetText(std::string& text) const override { GetValue(text); }
    Refusal SetText(std::string_view text) override { return SetValue(text); }
    Refusal SetTextQuietly(std::string_view text) override;

    virtual Refusal SetValue(std::string_view text);
    virtual void GetValue(std::string& text) const;

private:
    Lock lock;
    std::string value GUARDED_BY(lock);
};

}  // namespace vantry
