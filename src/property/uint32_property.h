#pragma once

#include <atomic>
#include <cstdint>

#include "property/property.h"

namespace vantry {

/// An unsigned number of 32 bits, as decimal text. Reading it skips leading white space, takes a
/// sign, and stops at the first character that is no digit; -1 is 4294967295.
class UInt32Property final : public Property {
public:
    UInt32Property(std::uint32_t initial, PropertyIdentity name);

    void GetText(std::string& text) const override;
    Refusal SetText(std::string_view text) override;
    Refusal SetTextQuietly(std::string_view text) override;

    Refusal SetValue(std::uint32_t number);
    std::uint32_t Value() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint32_t> value;
};

}  // namespace vantry
