// Which process has which socket, as /proc shows it: each descriptor of a process is a link, and
// that of a socket names its inode. Of a socket that several processes share, the one with the
// lowest id is named, which is most often the one that made it.

#include "cli/sockets/processes.h"

#include <pwd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>

namespace vantry::cli {
namespace {

namespace fs = std::filesystem;

std::optional<std::uint32_t> NumberOf(std::string_view text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

/// Returns the inode if the descriptor is a socket: its link is "socket:[INODE]".
std::optional<std::uint32_t> SocketInode(const fs::path& descriptor) {
    constexpr std::string_view kPrefix = "socket:[";
    std::error_code failed;
    const std::string target = fs::read_symlink(descriptor, failed).string();
    if (failed || !target.starts_with(kPrefix) || target.back() != ']') {
        return std::nullopt;
    }
    return NumberOf(
        std::string_view(target).substr(kPrefix.size(), target.size() - kPrefix.size() - 1));
}

std::string CommandOf(const fs::path& process) {
    std::ifstream file(process / "cmdline");
    std::string line{std::istreambuf_iterator<char>(file), {}};
    while (!line.empty() && line.back() == '\0') {
        line.pop_back();
    }
    const std::size_t firstEnd = std::min(line.find('\0'), line.size());
    const std::size_t slash = line.rfind('/', firstEnd);
    std::replace(line.begin(), line.end(), '\0', ' ');
    return slash == std::string::npos ? line : line.substr(slash + 1);
}

/// Adds the sockets of one process. A process that ends meanwhile, or that this user may not look
/// into, adds none.
void AddSocketsOf(const fs::path& process, std::uint32_t id,
                  std::unordered_map<std::uint32_t, Process>& owners) {
    std::string command;
    std::error_code failed;
    for (fs::directory_iterator at(process / "fd", failed), end; !failed && at != end;
         at.increment(failed)) {
        const auto inode = SocketInode(at->path());
        if (!inode) {
            continue;
        }
        if (command.empty()) {
            command = CommandOf(process);
        }
        Process& owner = owners[*inode];
        if (owner.id == 0 || static_cast<int>(id) < owner.id) {
            owner = {static_cast<int>(id), command};
        }
    }
}

}  // namespace

std::unordered_map<std::uint32_t, Process> ReadSocketOwners() {
    std::unordered_map<std::uint32_t, Process> owners;
    std::error_code failed;
    for (fs::directory_iterator at("/proc", failed), end; !failed && at != end;
         at.increment(failed)) {
        if (const auto id = NumberOf(at->path().filename().string())) {
            AddSocketsOf(at->path(), *id, owners);
        }
    }
    return owners;
}

std::string UserName(std::uint32_t user) {
    const passwd* const found = getpwuid(user);
    return found == nullptr ? std::to_string(user) : found->pw_name;
}

}  // namespace vantry::cli
