#pragma once

#include <filesystem>
#include <memory>
#include <utility>

#include "platform/accounting.h"
#include "platform/descriptors.h"
#include "platform/device.h"
#include "platform/file_system.h"
#include "platform/hub_settings.h"
#include "platform/hub_status.h"
#include "platform/notices.h"
#include "platform/posix_file_system.h"
#include "platform/system_event.h"
#include "platform/tcp_listening.h"

namespace vantry {

/// The hub's view of the machine that it runs on: files, devices, events, listening address,
/// settings and bounds. A process has one.
///
/// The program around the hub provides it by defining VantryPlatform. If no program does, as when
/// libprn.so is loaded alone, it is made from the environment: VANTRY_ROOT names the root directory
/// (else /var/lib/vantry for root and $XDG_STATE_HOME/vantry for others); VANTRY_PORT, VANTRY_BIND,
/// VANTRY_SAVES, VANTRY_LIMITS and VANTRY_EXTERNAL_REPORTS mean what the options of vantryd with
/// these names mean. A value that can't be parsed is reported as a notice; the hub then opens no
/// port (VANTRY_PORT and VANTRY_BIND) or uses the built-in value.
///
/// The fields are set before the hub starts, by one thread. While the hub runs they aren't
/// replaced; each object in them is thread-safe as its class says.
struct Platform {
    explicit Platform(std::filesystem::path root)
        : Platform(std::make_shared<PosixFileSystem>(std::move(root)), Descriptors::OfSystem()) {}
    /// `calls` must outlive the platform.
    Platform(std::shared_ptr<FileSystem> fileSystem, Descriptors& calls)
        : files(std::move(fileSystem)), descriptors(calls), events(calls) {}

    /// Returns the platform of this process, which outlives every call into the hub. Any thread may
    /// call it; the first call may read the environment and a limits file. Never fails.
    static Platform& Current();

    /// Shared with the threads that write files, because such a thread may still wait for the disk
    /// when the hub has ended. A program may replace it before the hub starts.
    std::shared_ptr<FileSystem> files;
    Descriptors& descriptors;
    DeviceRegistry devices;
    SystemEventRegistry events;
    TcpListening tcp;
    HubSettings settings;
    HubStatus status;
    Notices notices;
    std::shared_ptr<Accounting> accounting = std::make_shared<Accounting>(Limits(), notices);

    /// Replaces the bounds, and the accounting with them. Only before the hub starts.
    void SetLimits(const Limits& limits) {
        accounting = std::make_shared<Accounting>(limits, notices);
    }
};

}  // namespace vantry

/// A program that hosts the hub defines this function. It returns the platform that the hub runs
/// on, which must not be null and must outlive every call into the hub. Any thread of the hub may
/// call it.
extern "C" __attribute__((weak, visibility("default"))) vantry::Platform* VantryPlatform();
