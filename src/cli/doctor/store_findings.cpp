// The files that the hub keeps (docs/PROPERTY_FILE.md).
//
// The files of a packaged hub can be read by root and the group vantry only. What this user can't
// read isn't judged, and the finding says so. Whether the hub may write follows from the mode of
// the folder and the user of the hub's process, because trying it would leave a file.

#include "cli/doctor/store_findings.h"

#include <fmt/core.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "cli/base/text.h"
#include "cli/sockets/processes.h"
#include "store/format/property_text.h"

namespace vantry::cli {
namespace {

namespace fs = std::filesystem;

/// A log with more bytes is reported.
constexpr std::uint64_t kLargeLog = 10U << 20U;
/// A disk with fewer free bytes counts as full.
constexpr std::uint64_t kFullDisk = 1U << 20U;

enum class FileState { Good, Missing, Damaged, Unreadable };

FileState StateOf(const fs::path& name) {
    std::error_code failed;
    if (!fs::exists(name, failed)) {
        return failed ? FileState::Unreadable : FileState::Missing;
    }
    std::ifstream file(name, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open()) {
        return FileState::Unreadable;
    }
    return IsGoodPropertyContent(content) ? FileState::Good : FileState::Damaged;
}

void ExamineProperties(const fs::path& store, Findings& into) {
    const fs::path file = store / "VantryProperties.ini";
    const FileState state = StateOf(file);
    const FileState backup = StateOf(file.string() + ".bak");
    if (state == FileState::Unreadable) {
        into.AddOk("the property file wasn't looked at", "this user can't read " + file.string());
    } else if (state == FileState::Missing && backup == FileState::Missing) {
        into.AddOk("no setting was saved yet", "there is no " + file.string());
    } else if (state == FileState::Good) {
        into.AddOk("the property file is good", file.string());
    } else {
        const bool hasBackup = backup == FileState::Good;
        into.AddWrong(
            state == FileState::Missing ? "the property file is missing"
                                        : "the property file is damaged",
            file.string() + (hasBackup ? "; its backup is good" : "; there is no good backup"),
            hasBackup ? "the hub repairs it at its next start: systemctl restart vantryd"
                      : "put a copy of yours there while the hub is stopped; without one the hub "
                        "starts with its defaults");
    }
    const fs::path changes = store / "VantryPropertiesOverride.ini";
    if (StateOf(changes) == FileState::Damaged) {
        into.AddWrong(
            "the override file is damaged", changes.string() + " is ignored by the hub",
            "make it again: vantry settings import LINES " + ShellQuoted(changes.string()));
    }
}

void ExamineLog(const fs::path& store, Findings& into) {
    const fs::path log = store / "VantryLogFileName.txt";
    std::error_code failed;
    const auto size = fs::file_size(log, failed);
    if (!failed && size > kLargeLog) {
        into.AddWrong("the log is large", log.string() + " has " + SizeText(size),
                      "remove it, the hub makes it again; logrotate does so each week if it is "
                      "installed, and log-bytes in /etc/vantry/limits bounds it");
    } else if (!failed) {
        into.AddOk("the log is small", SizeText(size));
    }
}

/// Returns whether the user may write to the folder. Only the first of the user's groups counts.
bool MayWrite(const struct stat& folder, unsigned user) {
    const passwd* const account = getpwuid(user);
    return user == 0 || (folder.st_uid == user && (folder.st_mode & S_IWUSR) != 0) ||
           (folder.st_uid != user && account != nullptr && folder.st_gid == account->pw_gid &&
            (folder.st_mode & S_IWGRP) != 0) ||
           (folder.st_mode & S_IWOTH) != 0;
}

void ExamineFolder(const fs::path& store, std::optional<unsigned> hubUser, Findings& into) {
    struct stat found {};
    struct statvfs disk {};
    if (stat(store.c_str(), &found) != 0 || statvfs(store.c_str(), &disk) != 0) {
        return;
    }
    const std::uint64_t room = std::uint64_t{disk.f_bavail} * disk.f_frsize;
    if ((disk.f_flag & ST_RDONLY) != 0) {
        into.AddWrong("settings can't be saved", store.string() + " is mounted read-only",
                      "mount it for writing; what is changed until then is lost at the next start");
    } else if (hubUser && !MayWrite(found, *hubUser)) {
        into.AddWrong(
            "settings can't be saved",
            fmt::format("the hub runs as {} and may not write to {}, which has mode {:o} and "
                        "is of {}",
                        UserName(*hubUser), store.string(), found.st_mode & 07777U,
                        UserName(found.st_uid)),
            fmt::format("give it to the hub: sudo chown -R {} {}", UserName(*hubUser),
                        ShellQuoted(store.string())));
    } else if (room < kFullDisk || (disk.f_files != 0 && disk.f_favail == 0)) {
        into.AddWrong("the disk is full", store.string() + " has " + SizeText(room) + " left",
                      "make room; the hub saves what it couldn't save at the next change");
    } else {
        into.AddOk("settings can be saved", store.string() + " has " + SizeText(room) + " left");
    }
}

}  // namespace

void ExamineStore(const fs::path& root, std::optional<unsigned> hubUser, Findings& into) {
    const fs::path store = root / "Store";
    std::error_code failed;
    if (!fs::exists(store, failed)) {
        if (failed || access(root.c_str(), X_OK) == 0) {
            into.AddOk("the hub's files weren't looked at",
                       failed ? store.string() + ": " + failed.message()
                              : "there is no " + store.string() + "; --root tells where they are");
        } else {
            into.AddOk("the hub's files weren't looked at",
                       root.string() + " is missing or closed to this user");
        }
        return;
    }
    ExamineProperties(store, into);
    ExamineLog(store, into);
    ExamineFolder(store, hubUser, into);
}

}  // namespace vantry::cli
