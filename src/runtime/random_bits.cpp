#include "runtime/random_bits.h"

#include <unistd.h>

namespace vantry {

std::uint64_t RandomBits() {
    std::uint64_t bits = 0;
    return getentropy(&bits, sizeof bits) == 0 ? bits : 0;
}

}  // namespace vantry
