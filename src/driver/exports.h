#pragma once

#include <cstdint>

// The entry points of the hub as a stream driver with the prefix PRN. A device manager calls these
// functions and nothing else. It calls PRN_Init and PRN_Deinit one at a time; any thread may call
// the others at any time.

extern "C" {

/// Builds the hub and returns 1, the context for PRN_Deinit. If there is a hub already, it is
/// destroyed after the new one is built. Blocks while the files of the hub are read.
__attribute__((visibility("default"))) std::uint32_t PRN_Init();
/// Ends the hub and returns 1. It gives local sessions 2 seconds to
/// process what their clients have sent, closes them, which ends blocked reads, stops every
/// thread, waits 3 seconds, and writes the marker file "\DriverUnloadSuccessful" if no object that
/// LiveObjectCounters counts is left. It gives the marker 2 seconds, in case the disk hangs.
__attribute__((visibility("default"))) std::uint32_t PRN_Deinit(std::uint32_t context);
/// Opens a session and returns its handle, or 0 if there is no hub. The arguments are ignored.
__attribute__((visibility("default"))) std::uint32_t PRN_Open(std::uint32_t context,
                                                              std::uint32_t access,
                                                              std::uint32_t shareMode);
/// Closes a session, which ends blocked reads from it. Returns 1, or 0 if there is no such handle.
__attribute__((visibility("default"))) std::uint32_t PRN_Close(std::uint32_t handle);
/// Blocks until the hub has sent something and copies up to `count` bytes of it to `buffer`.
/// Returns the number of bytes, or -1 if there is no such handle or the session has ended.
__attribute__((visibility("default"))) std::int32_t PRN_Read(std::uint32_t handle, void* buffer,
                                                             std::uint32_t count);
/// Passes `count` bytes to the hub without blocking. Returns the number of bytes, or -1 if there is
/// no such handle or the session has ended.
__attribute__((visibility("default"))) std::int32_t PRN_Write(std::uint32_t handle,
                                                              const void* buffer,
                                                              std::uint32_t count);
/// Returns 0: the hub has no control codes.
__attribute__((visibility("default"))) std::uint32_t PRN_IOControl(
    std::uint32_t handle, std::uint32_t code, const void* input, std::uint32_t inputSize,
    void* output, std::uint32_t outputSize, std::uint32_t* outputUsed);
}
