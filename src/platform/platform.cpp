#include "platform/platform.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {
namespace {

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::optional<std::uint16_t> PortFromEnvironment() {
    const std::string text = Environment("VANTRY_PORT");
    char* end = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || number > 65535) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(number);
}

std::unique_ptr<Platform> PlatformFromEnvironment() {
    const std::string root = Environment("VANTRY_ROOT");
    auto platform = std::make_unique<Platform>(root.empty() ? Platform::DefaultRoot()
                                                            : std::filesystem::path(root));
    in_addr bindTo{};
    inet_pton(AF_INET, Environment("VANTRY_BIND").c_str(), &bindTo);
    platform->tcp.Replace(ntohl(bindTo.s_addr), PortFromEnvironment());
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

std::filesystem::path Platform::DefaultRoot() {
    if (geteuid() == 0) {
        return "/var/lib/vantry";
    }
    if (const std::string state = Environment("XDG_STATE_HOME"); !state.empty()) {
        return std::filesystem::path(state) / "vantry";
    }
    return std::filesystem::path(Environment("HOME")) / ".local/state/vantry";
}

}  // namespace vantry
