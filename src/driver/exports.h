#pragma once

#include <cstdint>

// The entry points of the hub as a stream driver with the prefix PRN: all that a device manager
// calls. PRN_Init and PRN_Deinit are called one at a time; the others by any thread at any time.

extern "C" {

/// Builds the hub. A hub that stands already is replaced: the new one is built first. Always 1,
/// the context for PRN_Deinit.
__attribute__((visibility("default"))) std::uint32_t PRN_Init();
/// Ends the hub: wakes and closes every local session, stops every thread, waits 3 seconds, and
/// writes the marker file "\DriverUnloadSuccessful" if nothing is left alive. Always 1.
__attribute__((visibility("default"))) std::uint32_t PRN_Deinit(std::uint32_t context);
/// A new session: its handle, or 0 while there is no hub.
__attribute__((visibility("default"))) std::uint32_t PRN_Open(std::uint32_t context,
                                                              std::uint32_t access,
                                                              std::uint32_t shareMode);
/// 1 if a session was closed, 0 if there is none with that handle.
__attribute__((visibility("default"))) std::uint32_t PRN_Close(std::uint32_t handle);
/// Waits for what the hub sends, and returns up to `count` bytes of it; -1 for an unknown handle or
/// a session that has ended.
__attribute__((visibility("default"))) std::int32_t PRN_Read(std::uint32_t handle, void* buffer,
                                                             std::uint32_t count);
/// Takes `count` bytes for the hub, at once; -1 for an unknown handle or a session that has ended.
__attribute__((visibility("default"))) std::int32_t PRN_Write(std::uint32_t handle,
                                                              const void* buffer,
                                                              std::uint32_t count);
/// The hub has no control codes: always 0.
__attribute__((visibility("default"))) std::uint32_t PRN_IOControl(
    std::uint32_t handle, std::uint32_t code, const void* input, std::uint32_t inputSize,
    void* output, std::uint32_t outputSize, std::uint32_t* outputUsed);
}
