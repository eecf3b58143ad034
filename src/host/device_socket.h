#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace vantry {

/// The listening Unix socket that represents a device in the devices directory. The destructor
/// removes its file. Any thread may call Number; it doesn't block.
class DeviceSocket {
public:
    /// Makes the socket, in place of one that an earlier process has left under the name. The
    /// caller must have claimed the directory (see DirectoryClaim). Returns an empty reference,
    /// with the reason in `error`, if the socket can't be made.
    [[nodiscard]] static std::unique_ptr<DeviceSocket> Make(const std::filesystem::path& directory,
                                                            const std::string& name,
                                                            std::string& error);
    ~DeviceSocket();
    DeviceSocket(const DeviceSocket&) = delete;
    DeviceSocket& operator=(const DeviceSocket&) = delete;

    /// Returns the descriptor, which is non-blocking, for poll and accept.
    int Number() const { return descriptor; }

private:
    DeviceSocket(std::filesystem::path file, int listening);

    const std::filesystem::path path;
    const int descriptor;
};

}  // namespace vantry
