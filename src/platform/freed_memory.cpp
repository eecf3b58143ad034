#include "platform/freed_memory.h"

// Any header of the C library defines __GLIBC__ where it applies.
#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace vantry {

void ReturnFreedMemory() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

}  // namespace vantry
