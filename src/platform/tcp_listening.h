#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace vantry {

/// The configured listening address, by which tests and a second hub on one machine replace the
/// hub's own, and the result of listening. The configuration is set before the hub starts; the
/// results may be read by any thread.
class TcpListening {
public:
    /// The port that means that nothing is listened on.
    static constexpr std::uint16_t kNoPort = 65534;

    /// Sets the address of the interface to listen on, in host order, 0 for all interfaces, and the
    /// port that replaces the hub's, 0 for any free one. Without a port the hub's own is used.
    void Replace(std::uint32_t interfaceAddress, std::optional<std::uint16_t> otherPort) {
        address = interfaceAddress;
        port = otherPort;
    }

    std::uint32_t Address() const { return address; }
    /// Returns the configured port, or `asked` if none is configured.
    std::uint16_t PortInPlaceOf(std::uint16_t asked) const { return port.value_or(asked); }

    /// The port that the hub listens on, or 0 if it doesn't listen.
    std::atomic<std::uint16_t> boundPort{0};
    /// The error number of the last attempt to listen that failed, or 0.
    std::atomic<int> bindError{0};

private:
    std::uint32_t address = 0;
    std::optional<std::uint16_t> port;
};

}  // namespace vantry
