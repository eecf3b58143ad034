// Why no hub is reached at a local device.
//
// The client library reports the error of the last step alone. Here each step is looked at by
// itself: whether the file is there, what it is, whether this user may open it, whether a program
// listens, and which one. The kernel's table of sockets also shows where another hub listens.

#include "cli/doctor/device_findings.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <grp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>

#include "cli/base/text.h"
#include "cli/doctor/reach.h"
#include "cli/sockets/connections.h"
#include "cli/sockets/socket_table.h"

namespace vantry::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStart = "start it: systemctl start vantryd, or vantryd by hand";

/// Returns advice that names the other places at which hubs listen, if there are some.
std::string OtherPlaces(const fs::path& device) {
    const auto sockets = ReadUnixSockets();
    std::set<std::string> places;
    for (const UnixSocket& socket : sockets ? *sockets : std::vector<UnixSocket>()) {
        if (socket.isListening && fs::path(socket.path).filename() == "PRN1" &&
            socket.path != device) {
            places.insert(socket.path);
        }
    }
    std::string advice;
    for (const std::string& place : places) {
        advice += (advice.empty() ? "; or use one that runs: " : ", ") +
                  ("--device " + ShellQuoted(place));
    }
    return advice;
}

std::string GroupName(gid_t group) {
    const ::group* const found = getgrgid(group);
    return found == nullptr ? std::to_string(group) : found->gr_name;
}

/// Returns the first folder on the path that this user may not enter, or else the path itself.
fs::path ClosedPart(const fs::path& device) {
    fs::path folder;
    for (const fs::path& part : fs::absolute(device).parent_path()) {
        folder /= part;
        if (access(folder.c_str(), X_OK) != 0) {
            return folder;
        }
    }
    return device;
}

void AddNoPermission(const fs::path& device, Findings& into) {
    const fs::path closed = ClosedPart(device);
    struct stat found {};
    const bool isKnown = stat(closed.c_str(), &found) == 0;
    const std::string group = isKnown ? GroupName(found.st_gid) : "vantry";
    const std::string user = UserName(geteuid());
    // The group of root opens far more than a hub.
    const bool mayJoin = !isKnown || found.st_gid != 0;
    into.AddWrong(
        "this user may not use the local device",
        closed.string() + (isKnown ? " is of the group " + group : "") + "; this is " + user,
        mayJoin ? "join the group: sudo usermod -aG " + group + " " + user +
                      ", and log in again; or run the command with sudo"
                : "run the command with sudo, or start the hub as the user who uses it");
}

/// Returns the number of the error of connecting to the socket, or 0.
int ConnectErrorAt(const fs::path& device) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (device.native().size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, device.c_str(), device.native().size());
    return ConnectError(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::string ListenerText(const fs::path& device) {
    const auto hub = ReadHubSockets(device);
    return hub && hub->process ? "process " + std::to_string(hub->process->id) +
                                     " listens there: " + hub->process->command
                               : "the program that listens there isn't known to this user";
}

void AddMissing(const fs::path& device, Findings& into) {
    std::error_code ignored;
    const fs::path folder = fs::absolute(device).parent_path();
    into.AddWrong("no hub runs here",
                  fs::exists(folder, ignored) ? "there is no " + device.string()
                                              : "there is no folder " + folder.string(),
                  kStart + OtherPlaces(device));
}

void AddNoSocket(const fs::path& device, bool isFolder, Findings& into) {
    std::error_code ignored;
    const fs::path inside = device / "PRN1";
    into.AddWrong("the local device is no socket",
                  device.string() + (isFolder ? " is a folder" : " is a file"),
                  isFolder && fs::is_socket(inside, ignored)
                      ? "name the socket in it: --device " + ShellQuoted(inside)
                      : "name the socket PRN1 of the hub" + OtherPlaces(device));
}

void ExamineSocket(const fs::path& device, const client::Error& failure, Findings& into) {
    const int number = ConnectErrorAt(device);
    if (number == EACCES || number == EPERM) {
        AddNoPermission(device, into);
    } else if (number == ECONNREFUSED) {
        into.AddWrong("no hub runs here", device.string() + " was left by a program that has ended",
                      kStart + OtherPlaces(device));
    } else if (failure.code == client::ErrorCode::TimedOut) {
        into.AddWrong(
            "the hub doesn't answer", failure.text + "; " + ListenerText(device),
            "if it stays so, restart it: systemctl restart vantryd; --timeout waits longer");
    } else if (number != 0) {
        into.AddWrong("the local device can't be used",
                      device.string() + ": " + std::strerror(number),
                      "name the socket PRN1 of the hub" + OtherPlaces(device));
    } else {
        into.AddWrong("another program's socket", failure.text + "; " + ListenerText(device),
                      "name the socket PRN1 of the hub" + OtherPlaces(device));
    }
}

}  // namespace

void ExamineDevice(const fs::path& device, const client::Error& failure, Findings& into) {
    struct stat found {};
    if (stat(device.c_str(), &found) != 0) {
        errno == EACCES ? AddNoPermission(device, into) : AddMissing(device, into);
    } else if (!S_ISSOCK(found.st_mode)) {
        AddNoSocket(device, S_ISDIR(found.st_mode), into);
    } else {
        ExamineSocket(device, failure, into);
    }
}

}  // namespace vantry::cli
