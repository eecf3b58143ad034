#include "runtime/random_bits.h"

#include <unistd.h>

#include "runtime/clock.h"

namespace vantry {

std::uint64_t RandomBits() {
    std::uint64_t bits = 0;
    if (getentropy(&bits, sizeof bits) != 0) {
        bits = NowNanoseconds() ^ reinterpret_cast<std::uintptr_t>(&bits) << 32U;
    }
    return bits;
}

}  // namespace vantry
