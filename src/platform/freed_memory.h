#pragma once

namespace vantry {

/// Gives memory that was freed back to the system, where the allocator keeps it otherwise. Takes up
/// to some milliseconds, so it is for the end of work that needed much more than usual. Any thread
/// may call it.
void ReturnFreedMemory();

}  // namespace vantry
