#pragma once

#include <cstdlib>

namespace vantry::test {

/// Returns how often an endurance test repeats itself: VANTRY_ROUNDS if that is set, otherwise
/// `usually`.
inline int Rounds(int usually) {
    const char* const wanted = std::getenv("VANTRY_ROUNDS");
    return wanted == nullptr ? usually : std::atoi(wanted);
}

}  // namespace vantry::test
