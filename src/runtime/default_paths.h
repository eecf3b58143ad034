#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vantry {

// The directories that every program of the hub uses unless it is configured otherwise. Any thread
// may call these functions as long as no thread changes the environment.

/// Returns a variable of the environment, or an empty text if it isn't set.
inline std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Returns the directory that holds the printer's file system: /var/lib/vantry for root, otherwise
/// $XDG_STATE_HOME/vantry or ~/.local/state/vantry. It need not exist.
inline std::filesystem::path DefaultRoot() {
    if (geteuid() == 0) {
        return "/var/lib/vantry";
    }
    const std::filesystem::path state = Environment("XDG_STATE_HOME");
    return (state.empty() ? Environment("HOME") / std::filesystem::path(".local/state") : state) /
           "vantry";
}

/// Returns the directory in which vantryd with this root makes its device sockets: /run/vantry for
/// root, otherwise $XDG_RUNTIME_DIR/vantry, or a directory below the root. It need not exist.
inline std::filesystem::path DefaultDevices(const std::filesystem::path& root) {
    if (geteuid() == 0) {
        return "/run/vantry";
    }
    const std::filesystem::path runtime = Environment("XDG_RUNTIME_DIR");
    return runtime.empty() ? root / "devices" : runtime / "vantry";
}

/// Returns the file in which the history is recorded. Its folder stands beside the root, which
/// holds the printer's files alone. It need not exist.
inline std::filesystem::path DefaultHistory() {
    return DefaultRoot().parent_path() / "vantry-history/history.db";
}

}  // namespace vantry
