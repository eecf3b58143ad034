#pragma once

#include <string_view>

namespace vantry {

/// The result of setting a property: why it was refused, or empty if it was accepted. The texts are
/// constants, so a Refusal stays valid.
using Refusal = std::string_view;

inline constexpr Refusal kAccepted{};
/// The text of a number has no digit at its start.
inline constexpr Refusal kNoNumber = "invalid stoul argument";
/// The number doesn't fit into 32 bits.
inline constexpr Refusal kNumberTooLarge = "stoul argument out of range";
/// The property was not created by a factory, so its callbacks can't be called.
inline constexpr Refusal kNoOwner = "bad_weak_ptr";

}  // namespace vantry
