// The entry points, and the one hub of the process.
//
// Callers may arrive in any order and from any thread, also before PRN_Init and after PRN_Deinit.
// Each call takes a shared reference to the hub under a lock, finds its session through it, and
// releases the hub before it blocks in the session. So a call never meets a hub that is half built,
// and PRN_Deinit isn't held up by a blocked read: it closes the sessions, which ends the reads.
// PRN_Deinit waits for threads that are ending before it looks at the counters of live objects,
// because sessions end on their own threads.

#include "driver/exports.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <utility>

#include "driver/driver_root.h"
#include "driver/local_clients.h"
#include "driver/quoted_ini.h"
#include "platform/platform.h"
#include "runtime/event.h"
#include "runtime/live_object_counters.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

constexpr char16_t kPropertyFile[] = u"/Store/VantryProperties.ini";
constexpr char16_t kOverrideFile[] = u"/Store/VantryPropertiesOverride.ini";
constexpr char16_t kErrorLogFile[] = u"/Store/VantryLogFileName.txt";
constexpr char16_t kOsVersionFile[] = u"\\windows\\version.ini";
constexpr char16_t kQtLibsFile[] = u"\\boot\\qtlibs_version.ini";
constexpr char16_t kQtCommonFile[] = u"\\boot\\qtcommon_version.ini";
constexpr char16_t kMarkerFile[] = u"\\DriverUnloadSuccessful";

constexpr std::uint32_t kEndingMilliseconds = 3000;
constexpr std::uint32_t kMarkerMilliseconds = 2000;
constexpr std::int32_t kFailed = -1;

/// The hub, or null. A caller shares it while it finds its session.
Mutex rootLock;
std::shared_ptr<DriverRoot> root GUARDED_BY(rootLock);

std::shared_ptr<DriverRoot> Root() {
    ScopedLock guard(rootLock);
    return root;
}

/// Makes `next` the hub. Returns the hub that it replaces, or null.
std::shared_ptr<DriverRoot> ReplaceRoot(std::shared_ptr<DriverRoot> next) {
    ScopedLock guard(rootLock);
    return std::exchange(root, std::move(next));
}

struct VersionPair {
    std::string buildNumber;
    std::string version;
};

VersionPair ReadVersions(std::u16string_view file, const char* buildKey, const char* versionKey) {
    FileSystem& files = *Platform::Current().files;
    return {ReadQuotedIniValue(files, file, buildKey), ReadQuotedIniValue(files, file, versionKey)};
}

/// Waits 3 s for session threads that are still ending, so that the counters of live objects reach
/// zero.
void WaitForEndingThreads() {
    Event neverSet(false);
    static_cast<void>(neverSet.Wait(kEndingMilliseconds));
}

/// Writes the marker on a thread of its own, because a disk that hangs must not hold up the stop.
void WriteMarker() {
    Platform& platform = Platform::Current();
    const auto write = [files = platform.files] {
        StdFileStream marker(*files, kMarkerFile, FileMode::kWrite | FileMode::kTruncate);
        constexpr std::array<std::uint8_t, 4> kContent = {0, 1, 2, 3};
        marker.Write(kContent.data(), kContent.size());
    };
    NativeThread thread;
    if (!thread.Start(write, "marker")) {
        write();
    } else if (!thread.WaitForEnd(kMarkerMilliseconds)) {
        platform.notices.Tell("the marker of a clean end isn't written, because the disk hangs");
        thread.Terminate();
    }
}

std::int32_t ToLength(std::uint32_t count) {
    return static_cast<std::int32_t>(
        std::min<std::uint32_t>(count, std::numeric_limits<std::int32_t>::max()));
}

std::shared_ptr<LocalSession> LocalSessionOf(std::uint32_t handle) {
    const std::shared_ptr<DriverRoot> hub = Root();
    return hub ? hub->LocalSessions().Find(handle) : nullptr;
}

}  // namespace

bool ServeLocalClient(const std::shared_ptr<Stream>& client) {
    if (const std::shared_ptr<DriverRoot> hub = Root()) {
        return hub->ServeLocalClient(client);
    }
    client->Close();
    return false;
}

}  // namespace vantry

std::uint32_t PRN_Init() {
    const vantry::VersionPair os =
        vantry::ReadVersions(vantry::kOsVersionFile, "OSBuildNumber", "OSVersion");
    const auto hub =
        std::make_shared<vantry::DriverRoot>(vantry::kPropertyFile, vantry::kOverrideFile,
                                             vantry::kErrorLogFile, os.version, os.buildNumber);
    // The old hub is destroyed only now, when the new one is complete.
    vantry::ReplaceRoot(hub).reset();
    const vantry::VersionPair libs =
        vantry::ReadVersions(vantry::kQtLibsFile, "QtBuildNumber", "QtVersion");
    hub->AddQtRuntimeInfo(libs.version, libs.buildNumber);
    const vantry::VersionPair common =
        vantry::ReadVersions(vantry::kQtCommonFile, "QtCommonBuildNumber", "QtCommonVersion");
    hub->AddQtCommonInfo(common.version, common.buildNumber);
    return 1;
}

std::uint32_t PRN_Deinit(std::uint32_t) {
    if (const std::shared_ptr<vantry::DriverRoot> hub = vantry::ReplaceRoot(nullptr)) {
        hub->LocalSessions().CloseAll();
    }
    vantry::WaitForEndingThreads();
    if (vantry::LiveObjectCounters::AllZero()) {
        vantry::WriteMarker();
    }
    return 1;
}

std::uint32_t PRN_Open(std::uint32_t, std::uint32_t, std::uint32_t) {
    const std::shared_ptr<vantry::DriverRoot> hub = vantry::Root();
    return hub ? hub->OpenLocalSession() : 0;
}

std::uint32_t PRN_Close(std::uint32_t handle) {
    const std::shared_ptr<vantry::DriverRoot> hub = vantry::Root();
    return hub && hub->LocalSessions().Close(handle) ? 1 : 0;
}

std::int32_t PRN_Read(std::uint32_t handle, void* buffer, std::uint32_t count) {
    const std::shared_ptr<vantry::LocalSession> session = vantry::LocalSessionOf(handle);
    const std::int32_t length = vantry::ToLength(count);
    const std::int32_t got =
        session ? session->Read(static_cast<std::uint8_t*>(buffer), length) : vantry::kFailed;
    return std::max(got, vantry::kFailed);
}

std::int32_t PRN_Write(std::uint32_t handle, const void* buffer, std::uint32_t count) {
    const std::shared_ptr<vantry::LocalSession> session = vantry::LocalSessionOf(handle);
    const std::int32_t length = vantry::ToLength(count);
    const std::int32_t taken =
        session ? session->Write(static_cast<const std::uint8_t*>(buffer), length)
                : vantry::kFailed;
    return std::max(taken, vantry::kFailed);
}

std::uint32_t PRN_IOControl(std::uint32_t, std::uint32_t, const void*, std::uint32_t, void*,
                            std::uint32_t, std::uint32_t*) {
    return 0;
}
