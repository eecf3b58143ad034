#pragma once

#include <filesystem>
#include <memory>
#include <utility>

#include "platform/accounting.h"
#include "platform/device.h"
#include "platform/file_system.h"
#include "platform/hub_settings.h"
#include "platform/hub_status.h"
#include "platform/notices.h"
#include "platform/posix_file_system.h"
#include "platform/system_event.h"
#include "platform/tcp_listening.h"

namespace vantry {

/// The machine that the hub runs on, as far as the hub knows it: its files, devices, events and
/// listening address. Process-wide, as an operating system is.
///
/// The program around the hub provides it by defining VantryPlatform. Where none does, as when
/// libprn.so is loaded alone, the environment decides: VANTRY_ROOT names the root directory (else
/// /var/lib/vantry for root and $XDG_STATE_HOME/vantry for others); VANTRY_PORT, VANTRY_BIND,
/// VANTRY_SAVES, VANTRY_LIMITS and VANTRY_EXTERNAL_REPORTS say what the options of vantryd with
/// these names say. A value that can't be read is a notice; the hub then opens no port (VANTRY_PORT
/// and VANTRY_BIND) or keeps what is built in.
struct Platform {
    explicit Platform(std::filesystem::path root)
        : files(std::make_shared<PosixFileSystem>(std::move(root))) {}

    /// The platform of this process.
    static Platform& Current();

    /// May be replaced before the hub starts. Shared with the threads that write files, which may
    /// hang in the disk longer than the hub lives.
    std::shared_ptr<FileSystem> files;
    DeviceRegistry devices;
    SystemEventRegistry events;
    TcpListening tcp;
    HubSettings settings;
    HubStatus status;
    Notices notices;
    /// Replaced as a whole by SetLimits, before the hub starts.
    std::shared_ptr<Accounting> accounting = std::make_shared<Accounting>(Limits(), notices);

    void SetLimits(const Limits& limits) {
        accounting = std::make_shared<Accounting>(limits, notices);
    }
};

}  // namespace vantry

/// Defined by a program that hosts the hub: the platform that its hub runs on, which must outlive
/// every call into the hub.
extern "C" __attribute__((weak, visibility("default"))) vantry::Platform* VantryPlatform();
