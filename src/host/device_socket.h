#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace vantry {

/// The listening Unix socket that stands for a device in the devices directory. Its file goes with
/// the object.
class DeviceSocket {
public:
    /// Takes over what an earlier process has left under the name. Empty, with the reason in
    /// `error`, if the socket can't be made.
    static std::unique_ptr<DeviceSocket> Make(const std::filesystem::path& directory,
                                              const std::string& name, std::string& error);
    ~DeviceSocket();
    DeviceSocket(const DeviceSocket&) = delete;
    DeviceSocket& operator=(const DeviceSocket&) = delete;

    /// Non-blocking, for poll and accept.
    int Number() const { return descriptor; }

private:
    DeviceSocket(std::filesystem::path file, int listening);

    const std::filesystem::path path;
    const int descriptor;
};

/// What became of an attempt to accept a client.
struct Accepted {
    /// -1 if there is none.
    int descriptor;
    /// The machine has no descriptor or memory for one more at the moment.
    bool exhausted;
};

/// Accepts a client of a non-blocking listening socket.
Accepted AcceptClient(int listening);

}  // namespace vantry
