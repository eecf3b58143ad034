#pragma once

#include <string_view>

namespace vantry {

/// Why a property could not do what it was asked; empty when it could.
using Refusal = std::string_view;

inline constexpr Refusal kTaken{};
/// The text of a number has no digit at its start.
inline constexpr Refusal kNoNumber = "invalid stoul argument";
/// The number doesn't fit into 32 bits.
inline constexpr Refusal kNumberTooLarge = "stoul argument out of range";
/// The property was not made by a factory, so nobody can be told of a change.
inline constexpr Refusal kNoOwner = "bad_weak_ptr";

}  // namespace vantry
