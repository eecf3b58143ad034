// The platform of a hub that no program has prepared.
//
// VantryPlatform is a weak symbol: a program that hosts the hub defines it, and if none does, its
// address is null here. The platform is made from environment variables then, once in a process. A
// variable that can't be parsed never stops the hub, which has no way to refuse its start; it is
// reported, and the safe choice is made instead: no open port rather than a wrong one.

#include "platform/platform.h"

#include <memory>
#include <string>
#include <string_view>

#include "platform/setting_texts.h"
#include "runtime/default_paths.h"

namespace vantry {
namespace {

/// Reads a setting from the environment. Returns nothing if it isn't set, or if its text can't be
/// parsed, which is reported together with what the hub does instead.
template <typename Read>
auto SettingFrom(const char* name, const Read& read, std::string_view instead, Notices& notices) {
    const std::string text = Environment(name);
    const auto value = read(text);
    if (!value && !text.empty()) {
        notices.Tell(std::string(name) + " can't be read: '" + text + "'; " + std::string(instead));
    }
    return value;
}

void ReadListeningAddress(Platform& platform) {
    constexpr std::string_view kNoPort = "no port is opened";
    const auto port = SettingFrom("VANTRY_PORT", PortFrom, kNoPort, platform.notices);
    const auto address = SettingFrom("VANTRY_BIND", AddressFrom, kNoPort, platform.notices);
    const bool wrong = (!port && !Environment("VANTRY_PORT").empty()) ||
                       (!address && !Environment("VANTRY_BIND").empty());
    // A typing error must never open the hub to more of the network than was meant.
    platform.tcp.Replace(address.value_or(0), wrong ? TcpListening::kNoPort : port);
}

void ReadSettings(Platform& platform) {
    HubSettings& settings = platform.settings;
    settings.saves =
        SettingFrom("VANTRY_SAVES", SavesFrom, "the file is written in place", platform.notices)
            .value_or(settings.saves);
    settings.externalReports = SettingFrom("VANTRY_EXTERNAL_REPORTS", ExternalReportsFrom,
                                           "external peers may report any", platform.notices)
                                   .value_or(settings.externalReports);
    Limits limits;
    limits.FitToMachine();
    if (const std::string file = Environment("VANTRY_LIMITS"); !file.empty()) {
        if (const std::string error = limits.ReadFile(file); !error.empty()) {
            platform.notices.Tell("VANTRY_LIMITS: " + file + ": " + error +
                                  "; the built-in limits hold");
        }
    }
    platform.SetLimits(limits);
}

std::unique_ptr<Platform> PlatformFromEnvironment() {
    const std::string root = Environment("VANTRY_ROOT");
    auto platform =
        std::make_unique<Platform>(root.empty() ? DefaultRoot() : std::filesystem::path(root));
    ReadListeningAddress(*platform);
    ReadSettings(*platform);
    // A program that ends soon shows these lines too.
    constexpr std::uint32_t kFlushMilliseconds = 1'000;
    platform->notices.Flush(kFlushMilliseconds);
    return platform;
}

}  // namespace

Platform& Platform::Current() {
    if (VantryPlatform != nullptr) {
        return *VantryPlatform();
    }
    static const std::unique_ptr<Platform> alone = PlatformFromEnvironment();
    return *alone;
}

}  // namespace vantry
