#pragma once

#include <atomic>
#include <cstdint>

#include "property/property.h"

namespace vantry {

/// An unsigned number of 32 bits, whose text is decimal. The parser skips leading white space,
/// accepts a sign, and ignores everything from the first character that isn't a digit; -1 is
/// 4294967295. It refuses a text without digits (kNoNumber) and a number that needs more than 32
/// bits (kNumberTooLarge).
class UInt32Property final : public Property {
public:
    UInt32Property(std::uint32_t initial, PropertyIdentity name);

    void GetText(std::string& text) const override;
    Refusal SetText(std::string_view text) override;
    Refusal SetTextQuietly(std::string_view text) override;

    /// Sets the value and calls the callbacks if it has changed. Returns what NotifyChanged
    /// returns.
    Refusal SetValue(std::uint32_t number);
    std::uint32_t Value() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint32_t> value;
};

}  // namespace vantry
