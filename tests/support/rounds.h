#pragma once

#include <cstdlib>

namespace vantry::test {

/// How often an endurance test goes round: VANTRY_ROUNDS if that is set, else a few times.
inline int Rounds(int usually) {
    const char* const wanted = std::getenv("VANTRY_ROUNDS");
    return wanted == nullptr ? usually : std::atoi(wanted);
}

}  // namespace vantry::test
