#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/frame_client.h"
#include "support/temporary_directory.h"

namespace vantry::test {

/// A vantryd on a free port of 127.0.0.1, with its directories below `base`. It may have at most so
/// many descriptors, unless `descriptors` is 0. The constructor blocks until it is ready; the
/// destructor kills it, and copies what it has written to standard error to this program's. If a
/// descriptor is named for standard error, that stays with the caller.
class VantrydProcess {
public:
    explicit VantrydProcess(const std::filesystem::path& base,
                            const std::vector<std::string>& more = {}, std::size_t descriptors = 0,
                            int standardError = -1);
    ~VantrydProcess();
    VantrydProcess(const VantrydProcess&) = delete;
    VantrydProcess& operator=(const VantrydProcess&) = delete;

    FrameClient Tcp() const { return FrameClient::ToTcp(port); }
    FrameClient Device(const std::string& name) const {
        return FrameClient::ToUnixSocket(devices / name);
    }
    /// Connects over "TCP" or over the device of this name.
    FrameClient Connect(const std::string& link) const {
        return link == "TCP" ? Tcp() : Device(link);
    }
    const std::string& ReadyLine() const { return readyLine; }
    std::uint16_t Port() const { return port; }
    pid_t Id() const { return id; }
    /// Returns what it has written to standard error until now. All of it also goes to this
    /// program's, when the object is destroyed.
    std::string Errors() const { return ReadFile(errors); }
    /// Sends a signal. For SIGSTOP it blocks until every thread of the process has stopped.
    void Signal(int number) const;
    /// Blocks until the process has ended. Returns its exit status, or -1 if a signal ended it.
    int Wait();
    void Kill();
    /// Returns the number of entries of a directory in /proc of the process: "task" for threads,
    /// "fd" for descriptors.
    std::size_t Count(const std::string& what) const;
    /// Returns a line of /proc/ID/status in KiB, such as "VmHWM" for the most memory it ever had.
    std::size_t KibibytesOf(const std::string& name) const;

    const std::filesystem::path root;
    const std::filesystem::path devices;

private:
    const std::filesystem::path errors;
    pid_t id = -1;
    std::string readyLine;
    std::uint16_t port = 0;
};

}  // namespace vantry::test
