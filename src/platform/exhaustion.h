#pragma once

#include <cerrno>
#include <cstdint>

namespace vantry {

/// How long a thread that accepts connections waits before it tries again, when the machine has no
/// descriptor, memory or thread for one more.
inline constexpr std::uint32_t kExhaustedMilliseconds = 50;

/// Returns whether an error number of a system call says that the machine has no descriptor or
/// memory for it at the moment.
inline bool IsExhaustion(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace vantry
